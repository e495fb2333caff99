#ifndef TESTS_REGISTERSESSION_H
#define TESTS_REGISTERSESSION_H

#include "host/layoutview.h"
#include "host/mainwindow.h"
#include "simulator/simulator.h"
#include "tests/crossfinder.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

#include <cmath>

const double unitsPerMm = 1e6;
const double armLengthMm = 0.12;
const double armWidthMm = 0.008;
const double wideFieldMm = 1.0; // shows a cross wherever the wafer may lie
const double middleFieldMm = 0.4;
const double fineFieldMm = 0.16; // shows a cross whole, and not much else
const int frameSize = 512;
const QPointF frameCentre(frameSize / 2, frameSize / 2);
const int patienceMs = 60000;

inline double length(const QPointF &vector)
{
    return std::hypot(vector.x(), vector.y());
}

/// Host, library and simulated microscope, handled through what a user sees of them.
struct Session {
    Session(simulator::Simulator *microscope, const QString &layoutFile)
        : microscope(microscope)
    {
        start(layoutFile);
    }

    void start(const QString &layoutFile)
    {
        QString error;
        QVERIFY2(window.openDesign(layoutFile, &error), qPrintable(error));
        QVERIFY2(window.session()->load(LIBRARY_FILE, &error), qPrintable(error));
        window.show();
        widget<QLineEdit>("host")->setText("127.0.0.1");
        widget<QSpinBox>("port")->setValue(microscope->controlPort());
        widget<QRadioButton>("displayLive")->click();
        widget<QComboBox>("dwellTime")->setCurrentText("1000ns");
        QSignalSpy placed(window.session()->plugin(), SIGNAL(centerImage()));
        widget<QPushButton>("connectButton")->click();
        auto *detector = widget<QComboBox>("detector");
        QTRY_VERIFY_WITH_TIMEOUT(detector->count() >= 2, patienceMs);
        detector->setCurrentText("1 - BSE"); // no bright edges that would shift what is measured
        QTRY_VERIFY_WITH_TIMEOUT(!placed.isEmpty(), patienceMs);
        waitForFrames(2);
    }

    template <typename Widget> Widget *widget(const char *name)
    {
        return window.panel()->findChild<Widget *>(name);
    }

    /// What the panel says: only two pairs or more open its third row.
    bool isAligned() { return widget<QPushButton>("align3")->isEnabled(); }

    /// Shows so much along the longer side of the view, which is what the view field will be.
    void showView(const QPointF &centre, double fieldMm)
    {
        const QSize size = window.view()->size();
        window.view()->showWidth(
            centre, fieldMm * unitsPerMm * size.width() / qMax(size.width(), size.height()));
    }

    /// "move stage to view", until the microscope has reported that it is there.
    void moveStageToView(const QPointF &centre, double fieldMm)
    {
        showView(centre, fieldMm);
        widget<QPushButton>("stageToView")->click();
        waitForPolls();
    }

    void waitForPolls()
    {
        // the two commands of a move, then two polls of two commands each: the first was answered
        const int enough = microscope->commandsServed() + 6;
        QTRY_VERIFY_WITH_TIMEOUT(microscope->commandsServed() >= enough, patienceMs);
    }

    void waitForFrames(int count)
    {
        // each message of this simulator holds a whole frame, and each fetched image has a new key
        for (int i = 0; i < count; ++i) {
            const qint64 before = window.background()->image().cacheKey();
            QTRY_VERIFY_WITH_TIMEOUT(window.background()->image().cacheKey() != before, patienceMs);
        }
    }

    /// What the eye makes of several noisy frames: their mean.
    QImage liveImage(int frames)
    {
        waitForFrames(3); // those that were on their way while the stage moved
        QVector<int> sums(frameSize * frameSize);
        for (int i = 0; i < frames; ++i) {
            waitForFrames(1);
            const QImage image = window.background()->image();
            for (int pixel = 0; pixel < sums.size(); ++pixel)
                sums[pixel] += qGray(image.pixel(pixel % frameSize, pixel / frameSize));
        }
        QImage mean(frameSize, frameSize, QImage::Format_Grayscale8);
        for (int pixel = 0; pixel < sums.size(); ++pixel)
            mean.scanLine(pixel / frameSize)[pixel % frameSize] = uchar(sums[pixel] / frames);
        return mean;
    }

    Cross lookForCross(double fieldMm)
    {
        const double armLength = armLengthMm * frameSize / fieldMm;
        const double armWidth = armWidthMm * frameSize / fieldMm;
        const QImage image = liveImage(fieldMm == fineFieldMm ? 6 : 1);
        const Cross cross = findCross(image, armLength, armWidth);
        return fieldMm == fineFieldMm ? measureCross(image, cross, armLength, armWidth) : cross;
    }

    viewer::Placement drawn() { return window.background()->placement(); }
    QTransform truth() { return microscope->frameToDesign(QSize(frameSize, frameSize)); }
    /// Database units.
    double pixelSize() { return std::sqrt(std::abs(truth().determinant())); }

    /// How many pixels the drawn image is off at most, up to so many pixels from its centre.
    double worstPixels(double reach)
    {
        const QTransform drawnFrame = drawn().toTransform(), trueFrame = truth();
        double worst = 0;
        for (const QPointF &corner :
             { QPointF(-1, -1), QPointF(1, -1), QPointF(-1, 1), QPointF(1, 1) }) {
            const QPointF pixel = frameCentre + reach * corner;
            worst = qMax(worst, length(drawnFrame.map(pixel) - trueFrame.map(pixel)));
        }
        return worst / pixelSize();
    }

    /// Drags with the left button from one design point by so many screen pixels, and on the way
    /// further than that: a short drag with Ctrl does nothing yet.
    void drag(const QPointF &from, const QPointF &pixels, Qt::KeyboardModifiers modifiers)
    {
        const QPointF start = window.view()->view().toScreen(from);
        const auto send = [&](QEvent::Type type, const QPointF &at, Qt::MouseButton button) {
            const auto buttons = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, at, button, buttons, modifiers);
            QCoreApplication::sendEvent(window.view(), &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, start + pixels + 20 * pixels / length(pixels), Qt::NoButton);
        send(QEvent::MouseMove, start + pixels, Qt::NoButton);
        send(QEvent::MouseButtonRelease, start + pixels, Qt::LeftButton);
    }

    /// Moves the image so that its pixel lies on the design point.
    void dragPixelTo(const QPointF &pixel, const QPointF &design)
    {
        const viewer::ViewTransform &view = window.view()->view();
        const QPointF now = drawn().toTransform().map(pixel);
        drag(now, view.toScreen(design) - view.toScreen(now), Qt::NoModifier);
    }

    /// Turns and scales the image about the cross until its arms lie on the design's.
    void turnAndScale(const Cross &cross, const QPointF &design)
    {
        const double degreesPerPixel = 0.1, scalePerPixel = 1.002;
        dragPixelTo(cross.centre, design);
        drag(design, QPointF(cross.degrees / degreesPerPixel, 0), Qt::ControlModifier);
        const double factor = armLengthMm * unitsPerMm / (cross.armLength * drawn().scaleX);
        drag(design, QPointF(0, -std::log(factor) / std::log(scalePerPixel)), Qt::ControlModifier);
    }

    void screenshot(const char *name)
    {
        waitForFrames(3);
        window.view()->finishDrawing();
        QVERIFY(window.grab().save(name));
    }

    simulator::Simulator *microscope;
    viewer::MainWindow window;
};

#endif
