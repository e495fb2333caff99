// The alignment of stage and design, and what follows from it.

#include "tests/pluginfixture.h"

#include <QLabel>
#include <QtTest>

namespace {
const QString fresh = "+start alignment, -start alignment, -start alignment -";

/// Each row as "+text icon" or "-text icon", the clear button as "+" or "-".
QString rows(const PluginFixture &host)
{
    QStringList texts;
    for (const QByteArray name : { "align1", "align2", "align3" }) {
        texts << (host.widget(name)->isEnabled() ? '+' : '-') + host.text(name);
        const QPixmap *shown = host.widget<QLabel>(name + "status")->pixmap();
        for (const QString icon : { "ok", "editicon" })
            if (shown && shown->toImage() == QPixmap(":/icons/" + icon + ".png").toImage())
                texts.last() += ' ' + icon;
    }
    return texts.join(", ") + (host.widget("alignClear")->isEnabled() ? " +" : " -");
}

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
    PluginFixture host({ { "alignMap", QStringList(entry) } });
    if (!host.place())
        return false;
    host.plugin->getDesignName("chip");
    const QPointF shown = accepted ? wafer.map(elsewhere) : -elsewhere;
    return host.text("statusDisplay") == (accepted ? "alignment complete" : "alignment error")
        && host.reportStage(stage + elsewhere) && host.imageAt(design + 1e6 * shown);
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
    void alignment_data();
    void alignment();
    void tickComesBack();
    void mapsThroughPairs();
    void storedDesigns();
    void moveStageToView();
};

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
    PluginFixture host;
    QVERIFY(host.place());
    host.plugin->getDesignName("the design before");
    host.plugin->getDesignName(name);
    QString status = "connected";
    int pairs = 0;
    for (const auto &step : steps) {
        const QPointF stage = stages[step.pair];
        host.answering = false; // what the plugin knows the host has not drawn yet
        QVERIFY(step.pair == 0 || host.reportStage(step.events == confirm ? stage : QPointF(1, 1)));
        host.answering = true;
        if (step.events == confirm)
            host.dragImageTo(shown(stage));
        host.forget();
        host.use(buttons[step.pair]);
        QCOMPARE(host.events.join('|'), step.events);
        // Who was rejected shows no tick.
        const bool all = !maps.mid(1).contains('1');
        QCOMPARE(rows(host).remove(all ? "" : " ok"), QString(step.rows).remove(all ? "" : " ok"));
        if (step.revisited) {
            SPIN_COMPARE(host.microscope.commands(), QStringList(move(stage.x(), stage.y())));
            QVERIFY(host.imageAt(shown(stage)));
        }
        if (step.events != confirm)
            continue;
        pairs = qMax(pairs, step.pair);
        const QChar map = maps.at(pairs - 1);
        if (pairs > 1)
            status = map == '1' ? "alignment error" : "alignment complete";
        QCOMPARE(host.text("statusDisplay"), status);
        QVERIFY(host.reportStage(elsewhere));
        const QPointF byFirstPair = shown(stages[1]) - 1e6 * (elsewhere - stages[1]);
        QVERIFY(map == '-' || host.imageAt(map == '1' ? byFirstPair : shown(elsewhere)));
        // The way back: the stage goes where the wafer shows the view's centre.
        host.viewCentre = host.centre().toPoint();
        host.use("stageToView");
        SPIN_COMPARE(host.microscope.commands().value(0), move(-3, 7.5));
    }
    host.destroy();
    const QString saved = QSettings().value("tescan/alignMap").toStringList().join('|');
    QTEST(saved.count(';') / 4, "stored");
    QVERIFY(saved.isEmpty() || saved.startsWith(name + ';'));
}

/// Pair 2 is rejected and turns out to be right once pair 1 is put where it belongs.
void TestAlignment::tickComesBack()
{
    PluginFixture host;
    QVERIFY(host.place());
    const struct {
        const char *row;
        QPointF stage;
        QString rows;
    } steps[] = { { "align1", { 10, 21 }, "+re-align ok, +start alignment, -start alignment +" },
                  { "align2", { 11, 20 }, "+re-align ok, +re-align, +start alignment +" },
                  { "align1", { 10, 20 }, "+re-align ok, +re-align ok, +start alignment +" } };
    for (const auto &step : steps) {
        host.use(step.row);
        QVERIFY(host.reportStage(step.stage));
        host.dragImageTo(step.row == QString("align2") ? QPointF(-1e6, 0) : QPointF());
        host.use(step.row);
        QCOMPARE(rows(host), step.rows);
        const bool rejected = step.row == QString("align2");
        QCOMPARE(host.widget(step.row)->toolTip().contains("pair 1 alone"), rejected);
    }
    host.pressConnect(); // the pairs are gone
    QCOMPARE(rows(host), fresh);
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
    const QStringList stored = { "bad;nan;inf;1;2;3;4;5;6", "ch;0;0;0;0;-1000000;0;1;0",
                                 "chi;5000;0;0;0;-995000;0;1;0" };
    PluginFixture host({ { "alignMap", stored } });
    QVERIFY(host.place());
    for (const QString name : { "ch", "absent", "chi" }) { // "ch" is too short a name
        const bool known = name == "chi";
        host.events.clear();
        host.plugin->getDesignName(name);
        QCOMPARE(host.events.contains("posUpdate"), known);
        QCOMPARE(rows(host), known ? QString(fresh).replace('-', '+') : fresh);
        const QPointF stage(11 + name.size(), 20), origin(10000000, 20000000);
        QVERIFY(host.reportStage(stage));
        QVERIFY(host.imageAt((known ? QPointF(5000, 0) : origin) - 1e6 * stage));
    }
    // Until the host has reported its view the alignment counts.
    host.answering = false;
    host.call("alignClear");
    QCOMPARE(rows(host), fresh);
    host.answering = true;
    host.forget();
    host.use("align1");
    SPIN_COMPARE(host.microscope.commands(), QStringList(move(0, 0)));
    QVERIFY(host.imageAt({ 5000, 0 }));
    for (double units : { 1e-6, 0.0, qQNaN(), qInf() }) {
        host.plugin->setDatabaseUnits(units); // the alignment was made for another one
        host.plugin->getDesignName("chi");
        QCOMPARE(host.text("statusDisplay"), QString("alignment error"));
        host.getPos();
        QVERIFY(host.isFinite());
    }
    host.plugin->setDatabaseUnits(1e-9);
    host.plugin->getDesignName("bad");
    host.use("align1");
    QVERIFY(host.isFinite());
    host.destroy();
    QCOMPARE(QSettings().value("tescan/alignMap").toStringList(), stored);
}

void TestAlignment::moveStageToView()
{
    PluginFixture host;
    QVERIFY(host.place());
    host.use("viewToStage");
    QCOMPARE(host.events, QStringList("centerImage"));
    // The fourth stage value is that of the image on display, the third and fifth are the newest.
    host.answering = false;
    QVERIFY(host.report([&] { host.microscope.setStage(10, 20, 30, 40, 50); }));
    host.answering = true;
    host.viewCentre = { 2000000, -1000000 };
    host.microscope.forget();
    host.use("stageToView");
    host.getView(); // once more, unasked
    host.viewSize = { 600, 1000 };
    host.getPos();
    for (double zoom : { 0.0, qQNaN(), 0.001 }) { // nothing that is no number is ever sent
        host.zoom = zoom;
        host.use("stageToView");
    }
    for (double value3 : { qInf(), 3.0 }) {
        QVERIFY(host.report([&] { host.microscope.setStage(10, 20, value3, value3 + 39, 5); }));
        host.use("stageToView");
    }
    SPIN_COMPARE(host.microscope.commands(),
                 QStringList({ move(8, 21, 30, 4, 50), "SetViewField 8.000000e-01",
                               move(8, 21, 30, 40, 50), "SetViewField 1.000000e+00",
                               move(8, 21, 3, 42, 5), "SetViewField 1.000000e+00" }));
}

QTEST_MAIN(TestAlignment)
#include "tst_alignment.moc"
