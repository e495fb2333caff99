#ifndef TESTS_KLAYOUTSESSION_H
#define TESTS_KLAYOUTSESSION_H

#include "hosting/background.h"
#include "hosting/statusline.h"
#include "hosting/view.h"
#include "simulator/simulator.h"
#include "tests/crossfinder.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QRadioButton>
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

/// Evaluates a Python expression within KLayout, `view` being its current view; set at the start.
extern QByteArray (*evaluate)(const QByteArray &expression);

inline double length(const QPointF &vector)
{
    return std::hypot(vector.x(), vector.y());
}

/// KLayout with the package, and the simulated microscope, handled through what a user sees of
/// them.
struct KLayoutSession {
    explicit KLayoutSession(simulator::Simulator *simulated)
        : microscope(simulated)
    {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *main = qobject_cast<QMainWindow *>(widget))
                window = main;
    }

    QObject *host() const { return window->findChild<QObject *>("semHost"); }
    // The bridge has a copy of the class's type information; so it is found by its name.
    hosting::Background *background() const
    {
        auto *found = host()->findChild<QObject *>("semBackground");
        return static_cast<hosting::Background *>(found);
    }
    QString statusLine() const { return status()->text(); }
    QString advice() const { return status()->advice(); }
    hosting::StatusLine *status() const
    {
        auto *found = host()->findChild<QObject *>("semStatusLine");
        return static_cast<hosting::StatusLine *>(found);
    }
    template <typename Widget> Widget *widget(const char *name) const
    {
        return window->findChild<Widget *>(name);
    }
    QWidget *canvas() const
    {
        // beside the tabs there is the navigator's, too
        for (QWidget *canvas : window->centralWidget()->findChildren<QWidget *>("canvas"))
            if (canvas->isVisible())
                return canvas;
        return nullptr;
    }
    bool canvasShowsImage() const
    {
        const QImage::Format opaque = QImage::Format_RGB32;
        const QImage with = canvas()->grab().toImage().convertToFormat(opaque);
        background()->setVisible(false);
        const QImage without = canvas()->grab().toImage().convertToFormat(opaque);
        background()->setVisible(true);
        return with != without;
    }

    void connectLive()
    {
        widget<QLineEdit>("host")->setText("127.0.0.1");
        widget<QSpinBox>("port")->setValue(microscope->controlPort());
        widget<QRadioButton>("displayLive")->click();
        widget<QComboBox>("dwellTime")->setCurrentText("1000ns");
        widget<QPushButton>("connectButton")->click();
        QTRY_VERIFY_WITH_TIMEOUT(background()->isShown(), patienceMs);
    }

    void chooseDetector()
    {
        auto *detector = widget<QComboBox>("detector");
        QTRY_VERIFY_WITH_TIMEOUT(detector->count() >= 2, patienceMs);
        detector->setCurrentText("1 - BSE"); // no bright edges that would shift what is measured
        waitForFrames(2);
    }

    /// What the panel says: only two pairs or more open its third row.
    bool isAligned() { return widget<QPushButton>("align3")->isEnabled(); }

    /// The view as KLayout reports it.
    hosting::View view() const
    {
        const QList<QByteArray> v =
            evaluate("'%r %r %r %r' % (view.viewport_trans().mag / 1000,"
                     " view.box().center().x * 1000, view.box().center().y * 1000, 0)")
                .split(' ');
        return { QPointF(v[1].toDouble(), v[2].toDouble()), v[0].toDouble(), canvas()->size() };
    }

    /// Shows so much along the longer side of the view, which is what the view field will be.
    void showView(const QPointF &centre, double fieldMm)
    {
        const QSizeF size = canvas()->size();
        const QSizeF half = size / qMax(size.width(), size.height()) * fieldMm * 500;
        const QPointF c = centre / 1000;
        evaluate(QString("view.zoom_box(pya.DBox(%1, %2, %3, %4))")
                     .arg(c.x() - half.width(), 0, 'g', 17)
                     .arg(c.y() - half.height(), 0, 'g', 17)
                     .arg(c.x() + half.width(), 0, 'g', 17)
                     .arg(c.y() + half.height(), 0, 'g', 17)
                     .toUtf8());
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
            const qint64 before = background()->image().cacheKey();
            QTRY_VERIFY_WITH_TIMEOUT(background()->image().cacheKey() != before, patienceMs);
        }
    }

    /// What the eye makes of several noisy frames: their mean.
    QImage liveImage(int frames)
    {
        waitForFrames(8); // as many may be on their way while the stage moves
        QVector<int> sums(frameSize * frameSize);
        for (int i = 0; i < frames; ++i) {
            waitForFrames(1);
            const QImage image = background()->image();
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

    hosting::Placement drawn() { return background()->placement(); }
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
        const QPointF start = view().toScreen().map(from);
        const QPointF direction =
            pixels / qMax(length(pixels), 1e-9); // none of a drag to where it is
        const auto send = [&](QEvent::Type type, const QPointF &at, Qt::MouseButton button) {
            const auto buttons = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, at, button, buttons, modifiers);
            QCoreApplication::sendEvent(canvas(), &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, start + pixels + 20 * direction, Qt::NoButton);
        send(QEvent::MouseMove, start + pixels, Qt::NoButton);
        send(QEvent::MouseButtonRelease, start + pixels, Qt::LeftButton);
    }

    /// Moves the image so that its pixel lies on the design point.
    void dragPixelTo(const QPointF &pixel, const QPointF &design)
    {
        const QTransform toScreen = view().toScreen();
        const QPointF now = drawn().toTransform().map(pixel);
        drag(now, toScreen.map(design) - toScreen.map(now), Qt::NoModifier);
    }

    /// Turns and scales the image about the cross until its arms lie on the design's.
    void turnAndScale(const Cross &cross, const QPointF &design)
    {
        const double degreesPerPixel = 0.1, scalePerPixel = 1.002;
        QVERIFY(cross.armLength > 0);
        dragPixelTo(cross.centre, design);
        drag(design, QPointF(cross.degrees / degreesPerPixel, 0), Qt::ControlModifier);
        const double factor = armLengthMm * unitsPerMm / (cross.armLength * drawn().scaleX);
        drag(design, QPointF(0, -std::log(factor) / std::log(scalePerPixel)), Qt::ControlModifier);
    }

    /// Once so many frames have come.
    void keepPicture(const char *file, int frames = 3)
    {
        waitForFrames(frames);
        window->grab().save(file);
    }

    simulator::Simulator *microscope;
    QMainWindow *window = nullptr;
};

#endif
