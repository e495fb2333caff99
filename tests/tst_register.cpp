// Simulator, library and host together, on a wafer that lies turned, stretched and shifted. The
// test does what a user does: it presses the panel's buttons, looks at the live image, moves it
// over the design with the mouse, and then measures how far the drawn image lies from where the
// simulator knows it should be.

#include "host/layoutview.h"
#include "host/mainwindow.h"
#include "layout/design.h"
#include "simulator/options.h"
#include "simulator/simulator.h"
#include "tests/crossfinder.h"
#include "tests/gdsiibytes.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRandomGenerator>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {
const double unitsPerMm = 1e6;
const double armLengthMm = 0.12;
const double armWidthMm = 0.008;
const double wideFieldMm = 1.0; // shows a cross wherever the wafer may lie
const double middleFieldMm = 0.4;
const double fineFieldMm = 0.16; // shows a cross whole, and not much else
const int frameSize = 512;
const int patienceMs = 60000;

/// Host, library and simulated microscope, handled through what a user sees of them.
class Session {
public:
    explicit Session(simulator::Simulator *microscope)
        : m_microscope(microscope)
    {
    }

    void start(const QString &layoutFile)
    {
        QString error;
        QVERIFY2(window.openDesign(layoutFile, &error), qPrintable(error));
        QVERIFY2(window.session()->load(LIBRARY_FILE, &error), qPrintable(error));
        window.show();
        widget<QLineEdit>("host")->setText("127.0.0.1");
        widget<QSpinBox>("port")->setValue(m_microscope->controlPort());
        widget<QRadioButton>("displayLive")->click();
        choose("dwellTime", "1000ns");
        QSignalSpy placed(window.session()->plugin(), SIGNAL(centerImage()));
        button("connectButton")->click();
        QTRY_VERIFY_WITH_TIMEOUT(widget<QComboBox>("detector")->count() >= 2, patienceMs);
        choose("detector", "1 - BSE"); // no bright edges that would shift what is measured
        QTRY_VERIFY_WITH_TIMEOUT(!placed.isEmpty(), patienceMs);
        waitForFrames(2);
    }

    void choose(const char *list, const QString &entry)
    {
        auto *box = widget<QComboBox>(list);
        box->setCurrentIndex(box->findText(entry));
        QCOMPARE(box->currentText(), entry);
    }

    QPushButton *button(const char *name) { return widget<QPushButton>(name); }
    QString status() { return widget<QLabel>("statusDisplay")->text(); }

    template <typename Widget> Widget *widget(const char *name)
    {
        return window.panel()->findChild<Widget *>(name);
    }

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
        button("stageToView")->click();
        waitForPolls();
    }

    void waitForPolls()
    {
        // the two commands of a move, then two polls of two commands each: the first was answered
        const int enough = m_microscope->commandsServed() + 6;
        QTRY_VERIFY_WITH_TIMEOUT(m_microscope->commandsServed() >= enough, patienceMs);
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

    QTransform drawn() { return window.background()->placement().toTransform(); }
    QTransform truth() { return m_microscope->frameToDesign(QSize(frameSize, frameSize)); }

    /// Drags with the left button from one design point by so many screen pixels, and on the way
    /// further than that: a short drag with Ctrl does nothing yet.
    void drag(const QPointF &from, const QPointF &pixels, Qt::KeyboardModifiers modifiers)
    {
        viewer::LayoutView *view = window.view();
        const QPointF start = view->view().toScreen(from);
        const QPointF far = start + pixels + 20 * pixels / std::hypot(pixels.x(), pixels.y());
        const auto send = [&](QEvent::Type type, const QPointF &at, Qt::MouseButton button) {
            const auto buttons = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, at, button, buttons, modifiers);
            QCoreApplication::sendEvent(view, &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, far, Qt::NoButton);
        send(QEvent::MouseMove, start + pixels, Qt::NoButton);
        send(QEvent::MouseButtonRelease, start + pixels, Qt::LeftButton);
    }

    /// Moves the image so that its pixel lies on the design point.
    void dragPixelTo(const QPointF &pixel, const QPointF &design)
    {
        const viewer::ViewTransform &view = window.view()->view();
        const QPointF now = drawn().map(pixel);
        drag(now, view.toScreen(design) - view.toScreen(now), Qt::NoModifier);
    }

    /// Looks for the cross in the live image; `fieldMm` is the view field in use.
    Cross lookForCross(double fieldMm)
    {
        const double pixelsPerMm = frameSize / fieldMm;
        const bool fine = fieldMm < fineFieldMm * 1.01;
        const QImage image = liveImage(fine ? 6 : 1);
        const Cross cross = findCross(image, armLengthMm * pixelsPerMm, armWidthMm * pixelsPerMm);
        if (!fine || !cross.found)
            return cross;
        return measureCross(image, cross, armLengthMm * pixelsPerMm, armWidthMm * pixelsPerMm);
    }

    viewer::MainWindow window;

private:
    simulator::Simulator *m_microscope;
};

/// Database units that a pixel covers.
double pixelSize(const QTransform &frameToDesign)
{
    return std::sqrt(std::abs(frameToDesign.determinant()));
}

struct Errors {
    double worstUnits = 0;
    double pixelUnits = 1;

    void add(const QTransform &drawn, const QTransform &truth, const QVector<QPointF> &pixels)
    {
        pixelUnits = pixelSize(truth);
        for (const QPointF &pixel : pixels) {
            const QPointF off = drawn.map(pixel) - truth.map(pixel);
            worstUnits = qMax(worstUnits, std::hypot(off.x(), off.y()));
        }
    }
    double worstPixels() const { return worstUnits / pixelUnits; }
};

QVector<QPointF> centreOnly()
{
    return { QPointF(frameSize / 2, frameSize / 2) };
}

QVector<QPointF> overTheFrame()
{
    QVector<QPointF> pixels;
    for (int y = 0; y <= frameSize; y += frameSize / 4)
        for (int x = 0; x <= frameSize; x += frameSize / 4)
            pixels.append(QPointF(x, y));
    return pixels;
}
} // namespace

class tst_register : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void threePairsBringEverythingInRegister();
    void moveStageToViewFindsAnyPlace();
    void alignmentComesBackWithItsDesignOnly();

private:
    QPointF crossAt(int number) const;
    void alignAt(int pair, double fieldMm);
    void turnAndScale(const Cross &cross, const QPointF &design);
    Errors measure(int pairs);
    bool isAligned();
    bool isInRegisterAt(int cross);
    void screenshot(const char *name);

    QTemporaryDir m_folder;
    layout::Design m_design;
    simulator::Simulator m_microscope;
    QScopedPointer<Session> m_session;
};

void tst_register::initTestCase()
{
    QCoreApplication::setOrganizationName("tst_register");
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
    simulator::Options options;
    options.port = 0;
    options.designFile = SAMPLE_LAYOUT;
    options.rotationDegrees = 7;
    options.scale = 1.015;
    options.offsetMm = QPointF(0.35, -0.2);
    options.stageSpeedMmPerSecond = 0;
    options.scan.rowsPerMessage = frameSize;
    QString error;
    QVERIFY2(m_microscope.start(options, &error), qPrintable(error));
    QVERIFY(m_design.load(SAMPLE_LAYOUT, &error));
    m_session.reset(new Session(&m_microscope));
    m_session->start(SAMPLE_LAYOUT);
}

QPointF tst_register::crossAt(int number) const
{
    for (const layout::Label &label : m_design.labels())
        if (label.text == QString("ALIGN_%1").arg(number))
            return label.position;
    return QPointF();
}

/// One round of alignment at the cross of this pair, as a user does it: to the cross, start, find
/// it, drag the image until it lies on the design, confirm.
void tst_register::alignAt(int pair, double fieldMm)
{
    Session &session = *m_session;
    const QPointF design = crossAt(pair);
    QPushButton *row = session.button(qPrintable(QString("align%1").arg(pair)));
    session.showView(design, fieldMm);
    row->click();
    QCOMPARE(row->text(), QString("align"));
    QCOMPARE(session.window.view()->alignMode()->mode(), viewer::AlignMode::Manual);
    session.moveStageToView(design, fieldMm);
    Cross cross = session.lookForCross(fieldMm);
    QVERIFY2(cross.found, qPrintable(QString("no cross %1 in %2 mm").arg(pair).arg(fieldMm)));
    if (pair == 1 && fieldMm == fineFieldMm)
        turnAndScale(cross, design);
    session.dragPixelTo(cross.centre, design);
    row->click();
    if (pair > 1) // at once: the next frame's report takes its place
        QCOMPARE(session.status(), QString("alignment complete"));
    QCOMPARE(row->text(), QString("re-align"));
    QCOMPARE(session.window.view()->alignMode()->mode(), viewer::AlignMode::Off);
    session.waitForPolls();
}

/// Turns and scales the image about the cross until its arms lie on the design's.
void tst_register::turnAndScale(const Cross &cross, const QPointF &design)
{
    Session &session = *m_session;
    session.dragPixelTo(cross.centre, design);
    const double degreesPerPixel = 0.1;
    const double scalePerPixel = 1.002;
    session.drag(design, QPointF(cross.degrees / degreesPerPixel, 0), Qt::ControlModifier);
    const double factor = armLengthMm * unitsPerMm
        / (cross.armLength * session.window.background()->placement().scaleX);
    session.drag(design, QPointF(0, -std::log(factor) / std::log(scalePerPixel)),
                 Qt::ControlModifier);
}

/// Moves the stage over the whole design and compares the drawn image with the truth.
Errors tst_register::measure(int pairs)
{
    Errors centre, frame;
    const QRectF area = QRectF(m_design.bounds()).adjusted(1e5, 1e5, -1e5, -1e5);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 4; ++column) {
            m_session->moveStageToView(QPointF(area.left() + area.width() * column / 3,
                                               area.top() + area.height() * row / 2),
                                       fineFieldMm);
            centre.add(m_session->drawn(), m_session->truth(), centreOnly());
            frame.add(m_session->drawn(), m_session->truth(), overTheFrame());
        }
    qInfo("%d pair%s: image centre off by %.0f nm = %.2f pixels at most, anywhere in the image "
          "%.0f nm = %.2f pixels",
          pairs, pairs == 1 ? "" : "s", centre.worstUnits, centre.worstPixels(), frame.worstUnits,
          frame.worstPixels());
    return frame;
}

void tst_register::screenshot(const char *name)
{
    Session &session = *m_session;
    session.waitForFrames(3);
    session.window.view()->finishDrawing();
    QVERIFY(session.window.grab().save(name));
}

void tst_register::threePairsBringEverythingInRegister()
{
    Session &session = *m_session;
    session.moveStageToView(crossAt(1), 0.8);
    screenshot("register-before.png");

    for (double fieldMm : { wideFieldMm, middleFieldMm, fineFieldMm }) {
        alignAt(1, fieldMm);
        if (QTest::currentTestFailed())
            return;
    }
    const Errors one = measure(1);
    for (double fieldMm : { wideFieldMm, fineFieldMm })
        alignAt(2, fieldMm);
    const Errors two = measure(2);
    alignAt(3, fineFieldMm);
    const Errors three = measure(3);
    QVERIFY(one.worstPixels() > 10); // or there was nothing to align
    QVERIFY(two.worstUnits < one.worstUnits);
    QVERIFY2(three.worstPixels() < 1, qPrintable(QString::number(three.worstPixels())));

    session.moveStageToView(crossAt(1), 0.8);
    screenshot("register-after.png");
}

void tst_register::moveStageToViewFindsAnyPlace()
{
    QRandomGenerator random(7);
    const QRectF area(m_design.bounds());
    double worst = 0;
    for (int i = 0; i < 10; ++i) {
        const QPointF wanted(qRound(area.left() + random.generateDouble() * area.width()),
                             qRound(area.top() + random.generateDouble() * area.height()));
        const double fieldMm = 0.08 * std::pow(12.5, random.generateDouble());
        m_session->moveStageToView(wanted, fieldMm);
        const QTransform truth = m_session->truth();
        const QPointF off = truth.map(centreOnly().first()) - wanted;
        worst = qMax(worst, std::hypot(off.x(), off.y()) / pixelSize(truth));
    }
    qInfo("move stage to view: at most %.2f pixels from the image centre", worst);
    QVERIFY(worst < 1);
}

void tst_register::alignmentComesBackWithItsDesignOnly()
{
    // The library writes the alignment when it is destroyed.
    m_session.reset();
    m_session.reset(new Session(&m_microscope));
    m_session->start(SAMPLE_LAYOUT);
    QVERIFY(isInRegisterAt(4));

    const QString other = m_folder.filePath("other.gds");
    QFile file(other);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        gdsii::library(gdsii::structure("TOP", gdsii::rectangle(5, 0, 0, 1000, 1000)), "OTHER"));
    file.close();
    QString error;
    QVERIFY(m_session->window.openDesign(other, &error));
    QVERIFY(!isAligned());
    QVERIFY(m_session->window.openDesign(SAMPLE_LAYOUT, &error));
    QVERIFY(isInRegisterAt(3));

    m_session.reset(new Session(&m_microscope));
    m_session->start(other);
    QVERIFY(!isAligned());
}

/// What the panel says: only an alignment can be redone from any row and cleared.
bool tst_register::isAligned()
{
    return m_session->button("align2")->isEnabled() && m_session->button("align3")->isEnabled()
        && m_session->button("alignClear")->isEnabled();
}

/// At a place where the stage has not been: the image follows the restored map from the next move on.
bool tst_register::isInRegisterAt(int cross)
{
    if (!isAligned())
        return false;
    m_session->moveStageToView(crossAt(cross), fineFieldMm);
    Errors errors;
    errors.add(m_session->drawn(), m_session->truth(), centreOnly());
    qInfo("restored: image centre off by %.2f pixels", errors.worstPixels());
    return errors.worstPixels() < 1;
}

QTEST_MAIN(tst_register)
#include "tst_register.moc"
