// Where the host draws the image and the stage goes: placement, tracking and the alignment.

#include "tests/pluginfixture.h"

#include <QLabel>
#include <QLineF>
#include <QtTest>

namespace {
const int edge = 512;
const double unitsPerPixel = 1e6 / edge; // for a view field of 1 mm
const QString fresh = "+start alignment, -start alignment, -start alignment -";

/// The host in the manual alignment mode.
struct Bench : PluginFixture {
    using PluginFixture::PluginFixture;

    void dragImageTo(const QPointF &design)
    {
        values[0] += design.x() - centre(edge).x();
        values[1] += design.y() - centre(edge).y();
    }
    bool imageAt(const QPointF &design, int imageSize = edge) const
    {
        return QLineF(centre(imageSize), design).length() < 0.01;
    }
    /// Each row as "+text icon" or "-text icon", the clear button as "+" or "-".
    QString rows() const
    {
        QStringList texts;
        for (const QByteArray name : { "align1", "align2", "align3" }) {
            texts << (widget(name)->isEnabled() ? '+' : '-') + text(name);
            const QPixmap *shown = widget<QLabel>(name + "status")->pixmap();
            for (const QString icon : { "ok", "editicon" })
                if (shown && shown->toImage() == QPixmap(":/icons/" + icon + ".png").toImage())
                    texts.last() += ' ' + icon;
        }
        return texts.join(", ") + (widget("alignClear")->isEnabled() ? " +" : " -");
    }
};

/// Turns by an angle, counter-clockwise where y points upwards, and stretches.
QTransform turn(double degrees, double scale = 1)
{
    return QTransform::fromScale(scale, scale).rotate(degrees);
}

QTransform matrix(double xx, double xy, double yx, double yy)
{
    return { xx, yx, xy, yy, 0, 0 };
}

/// Whether an alignment stored by pairs on a wafer is taken for what it should be, and the stage
/// map is then the wafer's, or that through the first pair. The wafer maps stage to design in units
/// of the nominal scale; the offsets on the stage are those from the first pair, in mm.
bool isTaken(bool accepted, const QTransform &wafer, const QVector<QPointF> &offsets)
{
    const QPointF stage(10.25, -20.5), design(123456, -654321), elsewhere(20, -30);
    QString entry = "chip";
    for (const QPointF &offset : QVector<QPointF>(1) + offsets)
        for (const QPointF &point :
             { offset.isNull() ? design : design + 1e6 * wafer.map(offset), stage + offset })
            entry += QString(";%1;%2").arg(point.x(), 0, 'g', 17).arg(point.y(), 0, 'g', 17);
    Bench bench({ { "alignMap", QStringList(entry) } });
    if (!bench.place())
        return false;
    bench.plugin->getDesignName("chip");
    const QPointF shown = accepted ? wafer.map(elsewhere) : -elsewhere;
    return bench.text("statusDisplay") == (accepted ? "alignment complete" : "alignment error")
        && bench.reportStage(stage + elsewhere) && bench.imageAt(design + 1e6 * shown);
}

QString move(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5)
{
    QString text = "StgMoveTo";
    for (double value : { x, y, value3, value4, value5 })
        text += ' ' + QString::number(value, 'e', 6);
    return text;
}

const QString start = "requestAlignManuel|posUpdate", confirm = "requestDefaultMode|posUpdate";
const struct {
    int pair; // 0: the clear button
    QString events;
    QString rows;
    bool revisited; // brings back the stage and the image
} steps[] = { { 1, start, "+align editicon, -start alignment, -start alignment -", false },
              { 1, confirm, "+re-align ok, +start alignment, -start alignment +", false },
              { 1, start, "+align editicon, -start alignment, -start alignment -", true },
              { 1, confirm, "+re-align ok, +start alignment, -start alignment +", false },
              { 2, start, "-re-align ok, +align editicon, -start alignment -", false },
              { 2, confirm, "+re-align ok, +re-align ok, +start alignment +", false },
              { 1, start, "+align editicon, -re-align ok, -start alignment -", true },
              { 1, confirm, "+re-align ok, +re-align ok, +start alignment +", false },
              { 3, start, "-re-align ok, -re-align ok, +align editicon -", false },
              { 3, confirm, "+re-align ok, +re-align ok, +re-align ok +", false },
              { 0, "requestView|posUpdate|imageUpdate|centerImage", fresh, false },
              { 1, start, "+align editicon, -start alignment, -start alignment -", false } };
} // namespace

class TestAlignment : public QObject {
    Q_OBJECT

private slots:
    void firstPlacement();
    void tracking();
    void alignment_data();
    void alignment();
    void mapsThroughPairs();
    void storedDesigns();
    void moveStageToView();
    void nonFiniteReports();
};

void TestAlignment::firstPlacement()
{
    for (const bool live : { true, false }) {
        const int size = live ? 1024 : 1023;
        // An overlay is drawn anew when it moves with the image; live frames come anyway.
        const QString redrawn = live ? "" : "|imageUpdate";
        Bench bench({ { "display", live ? 0 : 2 }, { "imageSize", size } });
        bench.plugin->init();
        bench.plugin->close(); // no reminders in between
        QVERIFY(bench.connectAll());
        bench.use("stageToView"); // moves nothing, not even later
        QVERIFY(!QStringList({ "", "connected" }).contains(bench.text("statusDisplay")));
        bench.viewCentre = { 4000000, -2000000 }; // the last view counts
        bench.getView();
        bench.answering = false;
        bench.microscope.setStage(10, 20);
        QVERIFY(bench.reportViewField(1));
        QCOMPARE(bench.values[2], 1.0);
        bench.answering = true;
        bench.getPos();
        QCOMPARE(bench.events.join('|'), QString("posUpdate|imageUpdate|centerImage"));
        QVERIFY(bench.imageAt({ 4e6, -2e6 }, size));
        for (int i = 0; i < 5; ++i)
            QCOMPARE(bench.values[2 + i], i < 2 ? 1e6 / size : 0);
        QCOMPARE(bench.rows(), fresh);
        QVERIFY(bench.reportStage({ 11, 20 }) && bench.imageAt({ 3e6, -2e6 }, size));
        QCOMPARE(bench.events.join('|'), "posUpdate" + redrawn);
        bench.events.clear();
        bench.use("768x768");
        QCOMPARE(bench.events.join('|'), "imageUpdate|posUpdate" + redrawn);
        QCOMPARE(bench.values[3], 1e6 / 768);
        bench.getView();
        const int polls = bench.microscope.polls();
        SPIN_VERIFY(bench.microscope.polls() > polls + 1);
        QVERIFY(!bench.microscope.commands().join(' ').contains("StgMoveTo"));
    }
}

void TestAlignment::tracking()
{
    Bench bench;
    double *const values = bench.values;
    QVERIFY(bench.place());
    const double skew[] = { 0.1, 0.2, 7 }; // both shears and the rotation, as the user set
    std::copy(skew, skew + 3, values + 4);
    bench.dragImageTo({ 12345, 0 });
    bench.getPos();
    QVERIFY(bench.imageAt({ 12345, 0 })); // nothing has moved, so the host's word counts
    // The user's own scale lives on until a zoom finds it more than 10 % off.
    double viewField = 1;
    for (const QPointF scale : { QPointF(0.9, 0.9), QPointF(1.1, 1.1), QPointF(0.8999999, 1),
                                 QPointF(1.1000001, 1), QPointF(-1, 1) })
        for (int axis : { 0, 1 }) {
            values[2 + axis] = scale.x() * viewField * unitsPerPixel;
            values[3 - axis] = viewField * unitsPerPixel;
            viewField = 3 - viewField;
            QVERIFY(bench.reportViewField(viewField) && bench.imageAt({ 0, 0 }));
            QCOMPARE(values[2 + axis], scale.y() * viewField * unitsPerPixel);
            QCOMPARE(values[3 - axis], viewField * unitsPerPixel);
        }
    QVERIFY(bench.reportStage({ 10, 22 }) && bench.imageAt({ 0, -2000000 }));
    // While a pair is being positioned the image stays, and zooms about its own centre.
    bench.use("align1");
    bench.dragImageTo({ 777, 888 });
    QVERIFY(bench.reportStage({ 15, 25 }) && bench.imageAt({ 777, 888 }));
    QVERIFY(bench.reportViewField(2) && bench.imageAt({ 777, 888 }));
    bench.viewCentre = { 4000, -5000 };
    bench.call("alignClear"); // the image is placed anew
    QVERIFY(bench.imageAt({ 4000, -5000 }) && std::equal(skew, skew + 3, values + 4));
    // A view field of nothing, then a new one: without shear and rotation.
    QVERIFY(bench.reportViewField(0) && bench.reportViewField(0.5));
    for (int i = 0; i < 5; ++i)
        QCOMPARE(values[2 + i], i < 2 ? 0.5 * unitsPerPixel : 0);
}

void TestAlignment::alignment_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QTransform>("wafer");
    // The map by one, two and three pairs: through the first pair, the wafer's own, or another.
    QTest::addColumn<QString>("maps");
    QTest::addColumn<int>("stored"); // pairs
    QTest::newRow("turned by 200 degrees") << "" << turn(200, 1.1) << "1ww" << 3;
    QTest::newRow("sheared") << "wafer" << matrix(-1.05, 0.1, -0.2, -0.9) << "1-w" << 3;
    QTest::newRow("mirrored") << "wafer" << matrix(1, 0, 0, -1) << "1-1" << 2;
    QTest::newRow("wrong scale") << "wafer" << matrix(-2, 0, 0, -2) << "111" << 0;
}

void TestAlignment::alignment()
{
    const char *const buttons[] = { "alignClear", "align1", "align2", "align3" };
    const QPointF stages[] = { {}, { 11, 20 }, { 13.5, 21 }, { 9, 26.25 } }, elsewhere(-3, 7.5);
    QFETCH(QString, name);
    QFETCH(QTransform, wafer);
    QFETCH(QString, maps);
    const auto shown = [&](const QPointF &at) { return 1e6 * wafer.map(at) + QPointF(700, -300); };
    Bench bench;
    QVERIFY(bench.place());
    bench.plugin->getDesignName("the design before");
    bench.plugin->getDesignName(name);
    QString status = "connected";
    int pairs = 0;
    for (const auto &step : steps) {
        const QPointF stage = stages[step.pair];
        bench.answering = false; // what the plugin knows the host has not drawn yet
        QVERIFY(step.pair == 0
                || bench.reportStage(step.events == confirm ? stage : QPointF(1, 1)));
        bench.answering = true;
        if (step.events == confirm)
            bench.dragImageTo(shown(stage));
        bench.forget();
        bench.use(buttons[step.pair]);
        QCOMPARE(bench.events.join('|'), step.events);
        QCOMPARE(bench.rows(), step.rows);
        if (step.revisited) {
            SPIN_COMPARE(bench.microscope.commands(), QStringList(move(stage.x(), stage.y())));
            QVERIFY(bench.imageAt(shown(stage)));
        }
        if (step.events != confirm)
            continue;
        pairs = qMax(pairs, step.pair);
        const QChar map = maps.at(pairs - 1);
        if (pairs > 1)
            status = map == '1' ? "alignment error" : "alignment complete";
        QCOMPARE(bench.text("statusDisplay"), status);
        QVERIFY(bench.reportStage(elsewhere));
        const QPointF byFirstPair = shown(stages[1]) - 1e6 * (elsewhere - stages[1]);
        QVERIFY(map == '-' || bench.imageAt(map == '1' ? byFirstPair : shown(elsewhere)));
        // The way back: the stage goes where the wafer shows the view's centre.
        bench.viewCentre = bench.centre(edge).toPoint();
        bench.use("stageToView");
        SPIN_COMPARE(bench.microscope.commands().value(0), move(-3, 7.5));
    }
    bench.destroy();
    const QString saved = QSettings().value("tescan/alignMap").toStringList().join('|');
    QTEST(saved.count(';') / 4, "stored");
    QVERIFY(saved.isEmpty() || saved.startsWith(name + ';'));
}

void TestAlignment::mapsThroughPairs()
{
    const QPointF second(4, 0.5), third(-1, 3);
    // A similarity keeps the rotation, whatever the direction of the two points.
    for (int direction = 0; direction < 360; direction += 45)
        for (double degrees = 0; degrees < 720; degrees += 61)
            QVERIFY(isTaken(true, turn(degrees, 1.07), { turn(direction).map(second) }));
    for (double scale : { 1.2499999, 0.8333334, 1.2500001, 0.8333333, 1e302, -1.0, 0.0, qQNaN() }) {
        const bool fits = scale > 0.83333335 && scale < 1.25;
        QVERIFY(isTaken(fits || scale == -1, matrix(-scale, 0, 0, -scale), { second }));
        QVERIFY(isTaken(fits, matrix(-scale, 0, 0, -1), { second, third }));
        QVERIFY(isTaken(fits, matrix(-1, 0, 0, -scale), { second, third }));
    }
    QVERIFY(isTaken(true, matrix(-1.1, 0.3, -0.2, -0.9), { second, third }));
    QVERIFY(isTaken(true, turn(213), { second, third }));
    QVERIFY(isTaken(false, turn(214), { second, third }));
    QVERIFY(isTaken(false, matrix(-1, 1, 1, -1), { second, third })); // squeezed into a line
    QVERIFY(isTaken(false, turn(180), { { 0, 0 } }));
    for (const QPointF &onLine : { QPointF(-8, -1), second, QPointF(qQNaN(), 0) })
        QVERIFY(isTaken(false, turn(180), { second, onLine }));
}

void TestAlignment::storedDesigns()
{
    const QStringList stored = { "ch;0;0;0;0;-1000000;0;1;0", "chi;5000;0;0;0;-995000;0;1;0" };
    Bench bench({ { "alignMap", stored } });
    QVERIFY(bench.place());
    for (const QString name : { "ch", "absent", "chi" }) { // "ch" is too short a name
        const bool known = name == "chi";
        bench.events.clear();
        bench.plugin->getDesignName(name);
        QCOMPARE(bench.events.contains("posUpdate"), known);
        QCOMPARE(bench.rows(), known ? QString(fresh).replace('-', '+') : fresh);
        const QPointF stage(11 + name.size(), 20), origin(10000000, 20000000);
        QVERIFY(bench.reportStage(stage));
        QVERIFY(bench.imageAt((known ? QPointF(5000, 0) : origin) - 1e6 * stage));
    }
    // Until the host has reported its view the alignment counts.
    bench.answering = false;
    bench.call("alignClear");
    QCOMPARE(bench.rows(), fresh);
    bench.answering = true;
    bench.forget();
    bench.use("align1");
    SPIN_COMPARE(bench.microscope.commands(), QStringList(move(0, 0)));
    QVERIFY(bench.imageAt({ 5000, 0 }));
    for (double units : { 1e-6, 0.0, qQNaN(), qInf() }) {
        bench.plugin->setDatabaseUnits(units); // the alignment was made for another one
        bench.plugin->getDesignName("chi");
        QCOMPARE(bench.text("statusDisplay"), QString("alignment error"));
        bench.getPos();
        QVERIFY(bench.isFinite());
    }
    bench.destroy();
    QCOMPARE(QSettings().value("tescan/alignMap").toStringList(), stored);
}

void TestAlignment::moveStageToView()
{
    Bench bench;
    QVERIFY(bench.place());
    bench.use("viewToStage");
    QCOMPARE(bench.events, QStringList("centerImage"));
    // The fourth stage value is that of the image on display, the third and fifth are the newest.
    bench.answering = false;
    QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, 30, 40, 50); }));
    bench.answering = true;
    bench.viewCentre = { 2000000, -1000000 };
    bench.microscope.forget();
    bench.use("stageToView");
    bench.getView(); // once more, unasked
    bench.viewSize = { 600, 1000 };
    bench.getPos();
    for (double zoom : { 0.0, qQNaN(), 0.001 }) { // nothing that is no number is ever sent
        bench.zoom = zoom;
        bench.use("stageToView");
    }
    for (double value3 : { qInf(), 3.0 }) {
        QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, value3, value3 + 39, 5); }));
        bench.use("stageToView");
    }
    SPIN_COMPARE(bench.microscope.commands(),
                 QStringList({ move(8, 21, 30, 4, 50), "SetViewField 8.000000e-01",
                               move(8, 21, 30, 40, 50), "SetViewField 1.000000e+00",
                               move(8, 21, 3, 42, 5), "SetViewField 1.000000e+00" }));
}

void TestAlignment::nonFiniteReports()
{
    for (const QByteArray number : { "nan", "-inf", "1e400", "1e308" })
        for (const bool ofStage : { true, false }) {
            const QByteArray stage = wire::text(ofStage ? number : "10"), rest = wire::real(20);
            const QByteArray bad =
                wire::message("StgGetPosition", stage + rest + rest + rest + rest)
                + wire::message("GetViewField", wire::text(ofStage ? "1" : number));
            Bench bench;
            QVERIFY(bench.place());
            for (int state = 0; state < 4; ++state) { // placed, positioning, confirming, aligned
                QVERIFY(bench.report([&] { bench.microscope.reply(bad); }));
                bench.call("align1");
                QVERIFY2(bench.isFinite(), number);
                bench.microscope.setStage(11 + state, 20);
                QVERIFY2(bench.reportViewField(2 + state), number);
                SPIN_COMPARE(bench.values[2], (2 + state) * unitsPerPixel);
            }
            bench.call("alignClear");
            QVERIFY2(bench.reportStage({ 20, 20 }) && bench.imageAt({ -6000000, 0 }), number);
        }
}

QTEST_MAIN(TestAlignment)
#include "tst_alignment.moc"
