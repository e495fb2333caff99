// What a host tells the user of the image's place, with the library and a microscope at the wire.
#include "hosting/livewatch.h"
#include "hosting/pairguard.h"
#include "hosting/statusline.h"
#include "tests/laboratory.h"

#include <QAbstractButton>

class TestTrust : public QObject {
    Q_OBJECT
private slots:
    void statusLineIsTrue_data();
    void statusLineIsTrue();
    void stageGoesWhereTheUserLooks();
    void doubtfulPairsAreAskedAbout();
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
    QVERIFY(click("align3").contains("nearly on a line"));
}

QTEST_MAIN(TestTrust)
#include "tst_trust.moc"
