// What a host tells the user of the image's place, with the library and a microscope at the wire.
#include "hosting/alignmode.h"
#include "hosting/canvasoverlay.h"
#include "hosting/livewatch.h"
#include "hosting/pairguard.h"
#include "hosting/statusline.h"
#include "tests/laboratory.h"

#include <QAbstractButton>

namespace {
/// A laboratory with a canvas that shows the image and what it is worth.
struct Watched : Laboratory {
    QScopedPointer<LiveWatch> live;
    QScopedPointer<StatusLine> line;
    QWidget canvas;
    AlignMode mode{ &background };
    QScopedPointer<CanvasOverlay> overlay;

    Watched()
    {
        start();
        live.reset(new LiveWatch(session.data(), &background));
        line.reset(new StatusLine(session.data(), &background, live.data()));
        overlay.reset(new CanvasOverlay(session.data(), &background, &mode));
        overlay->setStatusLine(line.data());
        overlay->setCanvas(&canvas);
        canvas.setFixedSize(800, 600);
        canvas.setPalette(QColor(Qt::black));
        overlay->setGround(Qt::black);
        emit session->panelAdded(session->panel()->widget(), QString());
        press("displayLive");
    }
    bool says(const QString &part)
    {
        return spinUntil([&] { return (line->text() + line->advice()).contains(part); });
    }
    /// Rows of the frame as they were scanned.
    void scanRows(int from, int to, char grey = 0x40)
    {
        microscope.scan(
            wire::scanData(quint32(from * pixels), QByteArray((to - from) * pixels, grey)));
    }
    QImage screen(const QPointF &centre, double zoom)
    {
        session->setView({ centre, zoom, canvas.size() });
        return canvas.grab().toImage();
    }
    QPointF onScreen(const QPointF &design) const { return session->view().toScreen().map(design); }
};

/// The share of points on a line that have the colour within so many pixels.
double shareOf(const QColor &colour, const QImage &screen, const QLineF &line, int reach = 2)
{
    int found = 0, all = 0;
    for (double along = 0; along <= 1; along += 0.01, ++all)
        for (int i = 0; i < (2 * reach + 1) * (2 * reach + 1); ++i) {
            const QPoint at = line.pointAt(along).toPoint()
                + QPoint(i % (2 * reach + 1) - reach, i / (2 * reach + 1) - reach);
            const QColor is = screen.valid(at) ? screen.pixelColor(at) : QColor();
            const int off = std::abs(is.red() - colour.red())
                + std::abs(is.green() - colour.green()) + std::abs(is.blue() - colour.blue());
            if (off < 60) {
                ++found;
                break;
            }
        }
    return double(found) / all;
}
} // namespace

class TestTrust : public QObject {
    Q_OBJECT
private slots:
    void statusLineIsTrue_data();
    void statusLineIsTrue();
    void stageGoesWhereTheUserLooks();
    void doubtfulPairsAreAskedAbout();
    void canvasShowsWhatThePlaceRestsOn();
    void slowFrameIsFollowed();
};

// What the user did since the first connection; a row is confirmed where the image belongs, or not.
void TestTrust::statusLineIsTrue_data()
{
    QTest::addColumn<QString>("begins");
    QTest::addColumn<bool>("inPlace");
    const char assumed[] = "not aligned: the place is assumed";
    const char restored[] = "restored: two pairs";
    QTest::newRow("") << assumed << false;
    QTest::newRow("one") << "one pair: turn and scale are assumed within 2" << true;
    QTest::newRow("one two") << "two pairs" << true;
    QTest::newRow("one two three") << "three pairs" << true;
    QTest::newRow("one far") << "the pairs do not fit: pair 1 alone" << false;
    QTest::newRow("one row2") << "being aligned: pair 2" << true;
    QTest::newRow("one row2 drag esc") << assumed << true;
    QTest::newRow("one two row3 drag esc") << restored << true;
    QTest::newRow("one two restart") << restored << true;
    QTest::newRow("one two disconnect") << "not connected since" << true;
    QTest::newRow("one two disconnect connect") << restored << true;
    QTest::newRow("one row2 stray esc confirm") << "two pairs" << true; // Esc came too late
    QTest::newRow("one two drag") << "two pairs \u00b7 moved 300 \u00b5m by hand" << false;
    QTest::newRow("one two clear") << assumed << false;
}

void TestTrust::statusLineIsTrue()
{
    QFETCH(QString, begins);
    QFETCH(bool, inPlace);
    Laboratory lab;
    QVERIFY(lab.act("restart"));
    for (const QString &word : QString(QTest::currentDataTag()).split(' ', Qt::SkipEmptyParts)) {
        if (word == "one" || word == "two")
            QVERIFY(lab.align(word == "one" ? "align1" : "align2"));
        else if (word == "three")
            QVERIFY(lab.moves({ 1, 1 }) && lab.align("align3"));
        else if (word == "far")
            QVERIFY(lab.press("align2") && (lab.edit(0, 3), lab.press("align2")));
        else if (word.startsWith("row"))
            QVERIFY(lab.press(qPrintable("align" + word.mid(3))));
        else if (word == "drag")
            lab.background.setPlacement(lab.background.placement().moved({ 3e5, 0 }));
        else if (word == "esc")
            QVERIFY(lab.session->giveUpPair());
        else if (word == "stray")
            QVERIFY(lab.seesStage(false) && (lab.stageMm += QPointF(1, 1), lab.report(), true)
                    && lab.seesStage(true));
        else if (word == "confirm")
            QVERIFY((lab.background.setPlacement(lab.expected()), lab.press("align2"))
                    && lab.seesStage(false));
        else
            QVERIFY2(lab.act(word), qPrintable(word));
    }
    LiveWatch live(lab.session.data(), &lab.background);
    const StatusLine line(lab.session.data(), &lab.background, &live);
    const bool said = spinUntil([&] { return line.text().startsWith(begins); });
    QVERIFY2(said, qPrintable(line.text()));
    SPIN_COMPARE(lab.isInPlace(), inPlace);
}

// In a row, and at any other time: what the user wants to see comes under the beam and to the
// image's centre.
void TestTrust::stageGoesWhereTheUserLooks()
{
    Laboratory lab;
    QVERIFY(lab.act("restart") && lab.align("align1") && lab.align("align2"));
    const QPointF wanted(4e5, -3e5);
    const QTransform wafer = QTransform(-1.02e6, 0, 0, -1.02e6, 3e5, -2e5).rotate(12);
    const QPointF stage = wafer.inverted().map(wanted);
    const auto sentTo = [&lab](const QPointF &place) {
        return spinUntil([&] {
            for (const QString &command : lab.microscope.commands().filter("StgMoveTo")) {
                const QStringList words = command.split(' ');
                if (QLineF({ words[1].toDouble(), words[2].toDouble() }, place).length() < 1e-5)
                    return true;
            }
            return false;
        });
    };
    QVERIFY(lab.session->bringToCentre(wanted) && sentTo(stage));
    QVERIFY(lab.press("align3"));
    lab.session->setView({ wanted, 0.002, { 800, 600 } });
    lab.microscope.forget();
    QVERIFY(lab.press("stageToView") && sentTo(stage));
    QCOMPARE(lab.background.centre(), wanted);
    // A point of the image beside its centre stays where it is drawn, as the new centre.
    lab.microscope.forget();
    lab.background.setPlacement(lab.background.placement().moved({ 5e4, 0 }));
    const QPointF point = lab.background.centre() + QPointF(1e4, 2e4);
    QVERIFY(lab.session->bringToCentre(point));
    QVERIFY(sentTo(wafer.inverted().map(wanted + QPointF(1e4, 2e4))));
    QVERIFY(QLineF(lab.background.centre(), point).length() < 1);
}

void TestTrust::doubtfulPairsAreAskedAbout()
{
    Laboratory lab;
    lab.design.extent = QRectF(0, 0, 2e6, 1e6);
    QStringList asked;
    bool answer = false;
    QVERIFY(lab.act("restart"));
    PairGuard guard(lab.session.data(), [&](const QString &question) {
        asked << question;
        return answer;
    });
    emit lab.session->panelAdded(lab.session->panel()->widget(), QString());
    const auto click = [&](const char *button) {
        asked.clear();
        QTest::mouseClick(lab.session->panel()->button(button), Qt::LeftButton);
        QCoreApplication::processEvents();
        return asked.join('\n');
    };
    QCOMPARE(click("align1"), QString());
    QVERIFY(click("align1").contains("not moved"));
    QCOMPARE(lab.session->rowInWork(), 1);
    lab.background.setPlacement(lab.expected());
    QCOMPARE(click("align1"), QString());
    QCOMPARE(lab.session->rowInWork(), 0);
    QVERIFY(click("alignClear").contains("Give up"));
    answer = true;
    QVERIFY(click("align2").isEmpty() && click("align2").contains("Pair 1 is only"));
    SPIN_COMPARE(lab.session->alignment().pairs.size(), 2);
    click("alignClear");
    QVERIFY(lab.session->alignment().pairs.isEmpty());
    // Where the map has the image is not known once the user drove the stage in a row.
    QVERIFY(lab.align("align1"));
    click("align2");
    lab.stageMm += QPointF(1, 1);
    lab.report();
    SPIN_VERIFY(lab.session->isStageMoving());
    answer = false;
    QVERIFY(click("align2").contains("still moving"));
    SPIN_VERIFY(!lab.session->isStageMoving());
    lab.background.setPlacement(lab.expected());
    QCOMPARE(click("align2"), QString());
    QVERIFY(lab.moves({ 1.01, 1 }));
    click("align3");
    lab.background.setPlacement(lab.expected());
    lab.microscope.forget();
    QVERIFY(click("align3").contains("nearly on a line"));
    // Refused, the pair is none, and the row can still be aligned elsewhere.
    QCOMPARE(lab.session->rowInWork(), 3);
    QCOMPARE(lab.session->alignment().pairs.size(), 2);
    QCOMPARE(lab.microscope.commands().filter("StgMoveTo"), QStringList());
}

void TestTrust::canvasShowsWhatThePlaceRestsOn()
{
    const QColor red(200, 40, 40), green(0, 190, 90), orange(255, 160, 0);
    Watched lab;
    SPIN_VERIFY(lab.background.isShown() && lab.microscope.data);
    lab.scanRows(0, lab.pixels);
    SPIN_VERIFY(qRed(lab.background.image().pixel(9, 9)) == 0x40);
    // Red and white by turns along the frame's edge as long as the place is assumed, then no more.
    const auto frame = [&](const QColor &colour) {
        const QImage screen = lab.screen(lab.background.centre(), 0.0008);
        const QPolygonF outline = lab.background.outline();
        return shareOf(colour, screen, { lab.onScreen(outline[0]), lab.onScreen(outline[1]) }, 0);
    };
    QVERIFY(frame(red) > 0.2 && frame(Qt::white) > 0.2);
    QVERIFY(lab.align("align1") && lab.press("align2"));
    QVERIFY(frame(red) == 0);
    // The image's centre is what a row records.
    const auto centreMark = [&] {
        const QImage screen = lab.screen(lab.background.centre(), 0.0008);
        const QPointF at = lab.onScreen(lab.background.centre());
        return shareOf(orange, screen, { at + QPointF(12, 0), at + QPointF(24, 0) }, 1);
    };
    QCOMPARE(centreMark(), 1.0);
    QVERIFY(lab.press("align2") && lab.align("align2") && lab.moves({ 1, 1 })
            && lab.align("align3"));
    QCOMPARE(centreMark(), 0.0);
    // Discs with digits, and lines from each to each.
    const QVector<ConfirmedPair> pairs = lab.session->confirmedPairs();
    const QImage screen = lab.screen(pairs[1].point * 1000, 0.0001);
    for (int i = 0; i < 3; ++i) {
        const QPointF at = lab.onScreen(pairs[i].point * 1000);
        const QPointF next = lab.onScreen(pairs[(i + 1) % 3].point * 1000);
        QVERIFY2(shareOf(green, screen, { at, next }) > 0.95, QByteArray::number(i));
        QVERIFY(shareOf(Qt::white, screen, { at - QPointF(3, 3), at + QPointF(3, 3) }) > 0.5);
    }
    // An image that is no longer live fades towards the ground.
    const auto brightness = [&] {
        return qRed(lab.screen(lab.background.centre(), 0.0008).pixel(300, 200));
    };
    QCOMPARE(brightness(), 0x40);
    lab.microscope.dropConnections();
    QVERIFY(lab.says("not connected since"));
    QVERIFY(brightness() < 0x30);
}

void TestTrust::slowFrameIsFollowed()
{
    Watched lab;
    SPIN_VERIFY(lab.background.isShown() && lab.microscope.data);
    lab.microscope.forget();
    lab.setScan("100000ns 1024x1024"); // as slow a frame as can be had in little memory
    lab.pixels = 1024;
    SPIN_COMPARE(lab.background.image().width(), 1024);
    const char scan[] = "ScScanXY[9] 0 1024 1024 0 0 1023 1023 0 100000";
    SPIN_VERIFY(lab.microscope.commands().contains(scan));
    lab.scanRows(0, 10);
    QVERIFY(lab.says("row 10 of 1,024, 2 min left"));
    lab.scanRows(10, 512, 0x50);
    QVERIFY(lab.says("row 512 of 1,024, 53 s left"));
}

QTEST_MAIN(TestTrust)
#include "tst_trust.moc"
