// Simulator, library and host together, on a wafer that lies turned, stretched and shifted. The
// test does what a user does: it presses the panel's buttons, looks at the live image, moves it
// over the design with the mouse, and then measures how far the drawn image lies from where the
// simulator knows it should be.

#include "layout/design.h"
#include "simulator/options.h"
#include "tests/gdsiibytes.h"
#include "tests/registersession.h"

#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>

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
    double measure(int pairs);

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
    m_session.reset(new Session(&m_microscope, SAMPLE_LAYOUT));
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
    auto *row = session.widget<QPushButton>(qPrintable(QString("align%1").arg(pair)));
    session.showView(design, fieldMm);
    row->click();
    QCOMPARE(session.window.view()->alignMode()->mode(), viewer::AlignMode::Manual);
    session.moveStageToView(design, fieldMm);
    const Cross cross = session.lookForCross(fieldMm);
    QVERIFY2(cross.found, qPrintable(QString("no cross %1 in %2 mm").arg(pair).arg(fieldMm)));
    if (pair == 1 && fieldMm == fineFieldMm)
        session.turnAndScale(cross, design);
    session.dragPixelTo(cross.centre, design);
    row->click();
    QCOMPARE(session.window.view()->alignMode()->mode(), viewer::AlignMode::Off);
    session.waitForPolls();
}

/// Moves the stage over the whole design and compares the drawn image with the truth; returns the
/// largest error in pixels.
double tst_register::measure(int pairs)
{
    double centre = 0, frame = 0;
    const QRectF area = QRectF(m_design.bounds()).adjusted(1e5, 1e5, -1e5, -1e5);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 4; ++column) {
            const QPointF offset(area.width() * column / 3, area.height() * row / 2);
            m_session->moveStageToView(area.topLeft() + offset, fineFieldMm);
            centre = qMax(centre, m_session->worstPixels(0));
            frame = qMax(frame, m_session->worstPixels(frameSize / 2));
        }
    const double unit = m_session->pixelSize();
    qInfo("%d pair%s: image centre off by %.0f nm = %.2f pixels at most, anywhere in the image "
          "%.0f nm = %.2f pixels",
          pairs, pairs == 1 ? "" : "s", centre * unit, centre, frame * unit, frame);
    return frame;
}

void tst_register::threePairsBringEverythingInRegister()
{
    m_session->moveStageToView(crossAt(1), 0.8);
    m_session->screenshot("register-before.png");
    for (double fieldMm : { wideFieldMm, middleFieldMm, fineFieldMm }) {
        alignAt(1, fieldMm);
        if (QTest::currentTestFailed())
            return;
    }
    const double one = measure(1);
    for (double fieldMm : { wideFieldMm, fineFieldMm })
        alignAt(2, fieldMm);
    const double two = measure(2);
    alignAt(3, fineFieldMm);
    const double three = measure(3);
    QVERIFY(one > 10); // or there was nothing to align
    QVERIFY(two < one);
    QVERIFY2(three < 1, qPrintable(QString::number(three)));
    m_session->moveStageToView(crossAt(1), 0.8);
    m_session->screenshot("register-after.png");
}

void tst_register::moveStageToViewFindsAnyPlace()
{
    QRandomGenerator random(7);
    const QRectF area(m_design.bounds());
    double worst = 0;
    for (int i = 0; i < 10; ++i) {
        const QPointF wanted(qRound(area.left() + random.generateDouble() * area.width()),
                             qRound(area.top() + random.generateDouble() * area.height()));
        m_session->moveStageToView(wanted, 0.08 * std::pow(12.5, random.generateDouble()));
        const QPointF off = m_session->truth().map(frameCentre) - wanted;
        worst = qMax(worst, length(off) / m_session->pixelSize());
    }
    qInfo("move stage to view: at most %.2f pixels from the image centre", worst);
    QVERIFY(worst < 1);
}

void tst_register::alignmentComesBackWithItsDesignOnly()
{
    QFile other(m_folder.filePath("other.gds"));
    QVERIFY(other.open(QIODevice::WriteOnly));
    other.write(
        gdsii::library(gdsii::structure("TOP", gdsii::rectangle(5, 0, 0, 1000, 1000)), "OTHER"));
    other.close();
    // At places where the stage has not been: the image follows the map from the next move on.
    const auto restored = [this](int cross) {
        m_session->moveStageToView(crossAt(cross), fineFieldMm);
        const double off = m_session->worstPixels(0);
        qInfo("restored: image centre off by %.2f pixels", off);
        return m_session->isAligned() && off < 1;
    };
    m_session.reset(); // the library writes the alignment when it is destroyed
    m_session.reset(new Session(&m_microscope, SAMPLE_LAYOUT));
    QVERIFY(restored(4));
    QString error;
    QVERIFY(m_session->window.openDesign(other.fileName(), &error));
    QVERIFY(!m_session->isAligned());
    QVERIFY(m_session->window.openDesign(SAMPLE_LAYOUT, &error));
    QVERIFY(restored(3));
    m_session.reset();
    m_session.reset(new Session(&m_microscope, other.fileName()));
    QVERIFY(!m_session->isAligned());
}

QTEST_MAIN(tst_register)
#include "tst_register.moc"
