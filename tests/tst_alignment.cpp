#include "tests/alignmentbench.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {
const int edge = Bench::edge;
const double unitsPerPixel = 1e6 / edge; // for a view field of 1 mm
const QString fresh = "+start alignment, -start alignment, -start alignment -";

/// What the stage (mm) of a wafer shows, in database units of a nanometre.
QTransform wafer(double xx, double xy, double yx, double yy)
{
    return { 1e6 * xx, 1e6 * yx, 1e6 * xy, 1e6 * yy, 700, -300 };
}

QString move(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5)
{
    QString text = "StgMoveTo";
    for (double value : { x, y, value3, value4, value5 })
        text += ' ' + QString::number(value, 'e', 6);
    return text;
}

const QStringList start = { "requestAlignManuel", "posUpdate" };
const QStringList confirm = { "requestDefaultMode", "posUpdate" };
const QStringList clear = { "requestView", "posUpdate", "imageUpdate", "centerImage" };
const struct {
    int pair; // 0: the clear button
    QStringList events;
    QString rows;
    bool revisited; // brings back the stage and the image
} steps[] = {
    { 1, start, "+align editicon, -start alignment, -start alignment -", false },
    { 1, confirm, "+re-align ok, +start alignment, -start alignment +", false },
    { 1, start, "+align editicon, -start alignment, -start alignment -", true },
    { 1, confirm, "+re-align ok, +start alignment, -start alignment +", false },
    { 2, start, "-re-align ok, +align editicon, -start alignment -", false },
    { 2, confirm, "+re-align ok, +re-align ok, +start alignment +", false },
    { 1, start, "+align editicon, -re-align ok, -start alignment -", true },
    { 1, confirm, "+re-align ok, +re-align ok, +start alignment +", false },
    { 3, start, "-re-align ok, -re-align ok, +align editicon -", false },
    { 3, confirm, "+re-align ok, +re-align ok, +re-align ok +", false },
    { 2, start, "-re-align ok, +align editicon, -re-align ok -", true },
    { 2, confirm, "+re-align ok, +re-align ok, +re-align ok +", false },
    { 0, clear, fresh, false },
    { 1, start, "+align editicon, -start alignment, -start alignment -", false },
};
} // namespace

class TestAlignment : public QObject {
    Q_OBJECT

private slots:
    void firstPlacement();
    void tracking();
    void alignment_data();
    void alignment();
    void storedAlignment();
    void moveStageToView();
    void nonFiniteReports();
};

void TestAlignment::firstPlacement()
{
    for (const bool live : { true, false }) {
        // An overlay is drawn anew when it moves with the image; live frames come anyway.
        const QStringList redrawn = QStringList("imageUpdate").mid(live);
        Bench bench;
        QSettings().setValue("tescan/display", live ? 0 : 2);
        QSettings().setValue("tescan/imageSize", 1024);
        bench.microscope.answers = { { "TcpRegDataPort", wire::uint32(0) } };
        const QVector<double> before = { 1, 2, 3, 4, 0, 0, 0 };
        std::copy(before.begin(), before.end(), bench.values);
        bench.init();
        bench.plugin->close(); // no reminders in between
        QVERIFY(bench.connectTo(bench.microscope));
        bench.click("stageToView"); // moves nothing, not even later
        QVERIFY(!QStringList({ "", "connected" }).contains(bench.status()));
        bench.viewCentre = { 4000000, -2000000 }; // the last view counts
        bench.getView();
        bench.answering = false;
        bench.microscope.setStage(10, 20);
        QVERIFY(bench.viewField(1));
        QCOMPARE(bench.events, QStringList("posUpdate"));
        QCOMPARE(bench.placement(), before);
        bench.answering = true;
        bench.getPos();
        QCOMPARE(bench.events, QStringList({ "posUpdate", "imageUpdate", "centerImage" }));
        QCOMPARE(bench.placement(), QVector<double>({ 35e5, -15e5, 976.5625, 976.5625, 0, 0, 0 }));
        QCOMPARE(bench.rows(), fresh);
        QVERIFY(bench.stage({ 11, 20 }));
        QCOMPARE(bench.events, QStringList("posUpdate") + redrawn);
        QCOMPARE(bench.placement().mid(0, 2), QVector<double>({ 25e5, -15e5 }));
        bench.events.clear();
        bench.choose("imageSize", "512x512");
        QCOMPARE(bench.events, QStringList({ "imageUpdate", "posUpdate" }) + redrawn);
        bench.getView();
        const int polls = bench.microscope.polls();
        SPIN_VERIFY(bench.microscope.polls() > polls + 1);
        const QRegularExpression moving("StgMoveTo|SetViewField");
        QVERIFY(bench.microscope.commands().filter(moving).isEmpty());
    }
}

void TestAlignment::tracking()
{
    Bench bench;
    double *const values = bench.values;
    QVERIFY(bench.place());
    const QVector<double> skew = { 0.1, 0.2, 7 }; // both shears and the rotation, as the user set
    std::copy(skew.begin(), skew.end(), values + 4);
    bench.dragImageTo({ 12345, 0 });
    bench.getPos();
    QVERIFY(bench.imageAt({ 12345, 0 })); // nothing has moved, so the host's word counts
    QVERIFY(bench.viewField(0.5) && bench.imageAt({ 0, 0 }));
    QCOMPARE(values[2], 0.5 * unitsPerPixel);
    // The user's own scale lives on until a zoom finds it more than 10 % off.
    values[2] *= 1.05;
    values[3] *= 1.2;
    bench.getPos();
    QCOMPARE(values[3], 1.2 * 0.5 * unitsPerPixel);
    QVERIFY(bench.viewField(2) && bench.imageAt({ 0, 0 }));
    QCOMPARE(values[2], 1.05 * 2 * unitsPerPixel);
    QCOMPARE(values[3], 2 * unitsPerPixel);
    QVERIFY(bench.stage({ 10, 22 }) && bench.imageAt({ 0, -2000000 }));
    // While a pair is being positioned the image stays, and zooms about its own centre.
    bench.click("align1");
    bench.dragImageTo({ 777, 888 });
    QVERIFY(bench.stage({ 15, 25 }) && bench.imageAt({ 777, 888 }));
    QVERIFY(bench.viewField(1) && bench.imageAt({ 777, 888 }));
    QCOMPARE(bench.placement().mid(2),
             QVector<double>({ 1.05 * unitsPerPixel, unitsPerPixel }) + skew);
    bench.viewCentre = { 4000, -5000 };
    bench.call("alignClear"); // the image is placed anew
    QVERIFY(bench.imageAt({ 4000, -5000 }));
    QCOMPARE(bench.placement().mid(2), QVector<double>({ unitsPerPixel, unitsPerPixel }) + skew);
    // A view field of nothing, then a new one: without shear and rotation.
    QVERIFY(bench.viewField(0) && bench.viewField(0.5));
    const double scale = 0.5 * unitsPerPixel;
    QCOMPARE(bench.placement().mid(2), QVector<double>({ scale, scale, 0, 0, 0 }));
}

void TestAlignment::alignment_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QTransform>("shown");
    // The map by one, two and three pairs: through the first pair, the wafer's own, or another.
    QTest::addColumn<QString>("maps");
    QTest::addColumn<int>("stored"); // pairs
    const double c = 1.1 * std::cos(3.5), s = 1.1 * std::sin(3.5);
    QTest::newRow("turned by 200 degrees") << "" << wafer(c, -s, s, c) << "1ww" << 3;
    QTest::newRow("sheared") << "wafer" << wafer(-1.05, 0.1, -0.2, -0.9) << "1-w" << 3;
    QTest::newRow("mirrored") << "wafer" << wafer(1, 0, 0, -1) << "1-1" << 2;
    QTest::newRow("wrong scale") << "wafer" << wafer(-2, 0, 0, -2) << "111" << 0;
}

void TestAlignment::alignment()
{
    const char *const buttons[] = { "alignClear", "align1", "align2", "align3" };
    const QPointF stages[] = { {}, { 11, 20 }, { 13.5, 21 }, { 9, 26.25 } };
    const QPointF elsewhere(-3, 7.5);
    QFETCH(QString, name);
    QFETCH(QTransform, shown);
    QFETCH(QString, maps);
    Bench bench;
    QVERIFY(bench.place());
    bench.plugin->getDesignName("the design before");
    bench.plugin->getDesignName(name);
    QString status = "connected";
    int pairs = 0;
    for (const auto &step : steps) {
        const QPointF stage = stages[step.pair];
        if (step.events == confirm) {
            QVERIFY(bench.stage(stage, false));
            bench.dragImageTo(shown.map(stage));
        } else if (step.revisited) {
            QVERIFY(bench.stage({ 1, 1 }, false));
        }
        bench.forget();
        bench.click(buttons[step.pair]);
        QCOMPARE(bench.events, step.events);
        QCOMPARE(bench.rows(), step.rows);
        if (step.revisited) {
            SPIN_COMPARE(bench.microscope.commands(), QStringList(move(stage.x(), stage.y())));
            QVERIFY(bench.imageAt(shown.map(stage)));
        }
        if (step.events != confirm)
            continue;
        pairs = qMax(pairs, step.pair);
        const QChar map = maps.at(pairs - 1);
        if (pairs > 1)
            status = map == '1' ? "alignment error" : "alignment complete";
        QCOMPARE(bench.status(), status);
        QVERIFY(bench.stage(elsewhere));
        const QPointF byFirstPair = shown.map(stages[1]) - 1e6 * (elsewhere - stages[1]);
        QVERIFY(map == '-' || bench.imageAt(map == '1' ? byFirstPair : shown.map(elsewhere)));
        // The way back: the stage goes where the wafer shows the view's centre.
        bench.viewCentre = bench.centre(edge).toPoint();
        bench.click("stageToView");
        SPIN_COMPARE(bench.microscope.commands().value(0), move(-3, 7.5));
    }
    bench.destroy();
    const QString saved = QSettings().value("tescan/alignMap").toStringList().join('|');
    QTEST(saved.count(';') / 4, "stored");
    QVERIFY(saved.isEmpty() || saved.startsWith(name + ';'));
}

void TestAlignment::storedAlignment()
{
    const QStringList stored = { "ch;0;0;0;0;-1000000;0;1;0", "chi;5000;0;0;0;-995000;0;1;0",
                                 "chipA;0;0;0;0;-1000000;0;1;0" };
    const QString restored = "+start alignment, +start alignment, +start alignment +";
    const struct {
        const char *name;
        bool known;
        QPointF origin; // what stage position (0, 0) shows
    } designs[] = { { "ch", false, { 10000000, 20000000 } }, // too short a name
                    { "absent", false, { 10000000, 20000000 } },
                    { "chi", true, { 5000, 0 } },
                    { "chipA", true, { 0, 0 } } };
    Bench bench;
    QSettings().setValue("tescan/alignMap", stored);
    QVERIFY(bench.place());
    for (const auto &design : designs) {
        bench.events.clear();
        bench.plugin->getDesignName(design.name);
        QCOMPARE(bench.events.contains("posUpdate"), design.known);
        QCOMPARE(bench.rows(), design.known ? restored : fresh);
        const QPointF stage(11 + (&design - designs), 20);
        QVERIFY(bench.stage(stage) && bench.imageAt(design.origin - 1e6 * stage));
    }
    QCOMPARE(bench.status(), QString("alignment complete"));

    bench.answering = false; // until the host has reported its view the alignment counts
    bench.call("alignClear");
    QCOMPARE(bench.rows(), fresh);
    QVERIFY(bench.stage({ 11, 20 }) && bench.imageAt({ -11000000, -20000000 }));
    bench.forget();
    bench.click("align1");
    SPIN_COMPARE(bench.microscope.commands(), QStringList(move(0, 0)));
    QVERIFY(bench.imageAt({ 0, 0 }));

    bench.call("alignClear");
    bench.plugin->setDatabaseUnits(1e-6); // the alignment was made for another one
    bench.plugin->getDesignName("chipA");
    QCOMPARE(bench.status(), QString("alignment error"));
    bench.destroy();
    QCOMPARE(QSettings().value("tescan/alignMap").toStringList(), stored);
}

void TestAlignment::moveStageToView()
{
    Bench bench;
    QVERIFY(bench.place());
    bench.click("viewToStage");
    QCOMPARE(bench.events, QStringList("centerImage"));
    // The fourth stage value is that of the image on display, the third and fifth are the newest.
    bench.answering = false;
    QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, 30, 40, 50); }));
    bench.answering = true;
    bench.viewCentre = { 2000000, -1000000 };
    bench.microscope.forget();
    bench.click("stageToView");
    bench.getView(); // once more, unasked
    bench.viewSize = { 600, 1000 };
    bench.getPos();
    bench.click("stageToView");
    // Nothing that is no number is ever sent.
    const double infinite = std::numeric_limits<double>::infinity();
    for (double zoom : { 0.0, std::numeric_limits<double>::quiet_NaN() }) {
        bench.zoom = zoom;
        bench.click("stageToView");
    }
    bench.zoom = 0.001;
    for (double value3 : { infinite, 3.0 }) {
        QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, value3, value3 + 39, 5); }));
        bench.click("stageToView");
    }
    SPIN_COMPARE(bench.microscope.commands(),
                 QStringList({ move(8, 21, 30, 4, 50), "SetViewField 8.000000e-01",
                               move(8, 21, 30, 40, 50), "SetViewField 1.000000e+00",
                               move(8, 21, 3, 42, 5), "SetViewField 1.000000e+00" }));
}

void TestAlignment::nonFiniteReports()
{
    for (const QByteArray number : { "nan", "inf", "-inf", "1e400", "1e308" })
        for (const bool ofStage : { true, false }) {
            const QByteArray bad =
                wire::message("StgGetPosition",
                              wire::text(ofStage ? number : "10") + wire::position(0, 20).mid(28))
                + wire::message("GetViewField", wire::text(ofStage ? "1" : number));
            Bench bench;
            QVERIFY(bench.place());
            for (int state = 0; state < 4; ++state) { // placed, positioning, confirming, aligned
                QVERIFY(bench.report([&] { bench.microscope.reply(bad); }));
                bench.call("align1");
                for (double value : bench.values)
                    QVERIFY2(qIsFinite(value), number);
                bench.microscope.setStage(11 + state, 20);
                QVERIFY2(bench.viewField(2 + state), number);
                SPIN_COMPARE(bench.values[2], (2 + state) * unitsPerPixel);
            }
            bench.call("alignClear");
            QVERIFY(bench.stage({ 20, 20 }));
            QVERIFY2(bench.imageAt({ -6000000, 0 }), number);
        }
}

QTEST_MAIN(TestAlignment)
#include "tst_alignment.moc"
