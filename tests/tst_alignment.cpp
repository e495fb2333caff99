#include "tests/pluginfixture.h"

#include <QLabel>
#include <QPushButton>
#include <QtTest>

#include <cmath>
#include <limits>

namespace {
const int edge = 512;
const QString storedChip = "chipA;0;0;0;0;-1000000;0;1;0"; // stage and design meet at their origins
const QStringList storedChips = { "ch;0;0;0;0;-1000000;0;1;0", "chi;5000;0;0;0;-995000;0;1;0",
                                  storedChip };

/// What the stage of this wafer shows, in database units of a nanometre.
struct Wafer {
    double xx, xy, yx, yy;
    QPointF design(const QPointF &stage) const
    {
        return { 1e6 * (xx * stage.x() + xy * stage.y()) + 700,
                 1e6 * (yx * stage.x() + yy * stage.y()) - 300 };
    }
};
const Wafer nominalWafer = { -1, 0, 0, -1 };

QString move(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5)
{
    QString text = "StgMoveTo";
    for (double value : { x, y, value3, value4, value5 })
        text += ' ' + QString::number(value, 'e', 6);
    return text;
}

/// A host and a microscope with the image placed: stage at (10, 20), view field 1 mm.
struct Bench {
    Bench()
        : host(LIBRARY_FILE)
    {
        microscope.answers["GetViewField"] = wire::real(1);
        microscope.answers["StgGetPosition"] = wire::position(10, 20);
    }
    bool place()
    {
        const bool placed = host.place(&microscope);
        forget();
        return placed;
    }
    void forget()
    {
        host.events.clear();
        microscope.forget();
    }
    /// Lets the microscope report and waits until the host was asked to place the image again.
    bool report(const std::function<void()> &send)
    {
        host.events.clear();
        send();
        return spinUntil([this] { return host.events.contains("posUpdate"); });
    }
    bool stage(const QPointF &position)
    {
        return report([&] { microscope.setStage(position.x(), position.y()); });
    }
    /// A report that the plugin knows of while the host has not got round to placing the image.
    bool unansweredStage(const QPointF &position)
    {
        host.answering = false;
        const bool reported = stage(position);
        host.answering = true;
        return reported;
    }
    bool viewField(double viewFieldMm)
    {
        return report([&] { microscope.setViewField(viewFieldMm); });
    }
    /// As the user does in the host's manual alignment mode.
    void dragImageTo(const QPointF &design)
    {
        host.values[0] += design.x() - host.centre(edge).x();
        host.values[1] += design.y() - host.centre(edge).y();
    }
    bool imageAt(const QPointF &design) const
    {
        const QPointF off = host.centre(edge) - design;
        return std::hypot(off.x(), off.y()) < 0.01;
    }
    /// Records a pair from the panel; the stage has to be elsewhere before.
    bool align(const char *button, const QPointF &position, const QPointF &design)
    {
        host.click(button);
        const bool moved = stage(position);
        dragImageTo(design);
        host.click(button);
        return moved;
    }
    /// Each row as "+text icon" or "-text icon", the clear button as "+" or "-".
    QString rows() const
    {
        QStringList texts;
        for (const QByteArray name : { "align1", "align2", "align3" }) {
            const QPixmap *shown = host.widget<QLabel>((name + "status").constData())->pixmap();
            QString icon;
            for (const QString known : { "ok", "editicon" })
                if (shown && shown->toImage() == QPixmap(":/icons/" + known + ".png").toImage())
                    icon = ' ' + known;
            const QPushButton *button = host.widget<QPushButton>(name.constData());
            texts << (button->isEnabled() ? '+' : '-') + button->text() + icon;
        }
        return texts.join(", ")
            + (host.widget<QPushButton>("alignClear")->isEnabled() ? " +" : " -");
    }

    FakeMicroscope microscope;
    PluginFixture host;
};
} // namespace

class TestAlignment : public QObject {
    Q_OBJECT

private slots:
    void firstPlacement();
    void tracking();
    void skewedImage();
    void imageUpdates_data();
    void imageUpdates();
    void workflow();
    void unansweredReports();
    void wafers_data();
    void wafers();
    void storedAlignment();
    void clearingUnanswered();
    void moveStageToView();
    void nothingMovesBeforePlacement();
    void nonFiniteReports_data();
    void nonFiniteReports();
};

void TestAlignment::firstPlacement()
{
    Bench bench;
    QSettings().setValue("tescan/imageSize", 1024);
    bench.microscope.answers.remove("GetViewField");
    bench.host.viewCentre = { 3000000, -2000000 };
    const double before[] = { 1, 2, 3, 4, 0, 0, 0 };
    std::copy(before, before + 7, bench.host.values);
    bench.host.init();
    QVERIFY(bench.host.connectTo(bench.microscope));
    QVERIFY(bench.host.events.contains("posUpdate"));
    QVERIFY(std::equal(before, before + 7, bench.host.values));
    bench.host.viewCentre = { 4000000, -2000000 }; // the last view counts
    bench.host.getView();
    bench.forget();
    SPIN_VERIFY(bench.microscope.polls() > 1); // the stage has been reported
    bench.microscope.setViewField(1);
    SPIN_COMPARE(bench.host.events,
                 QStringList({ "posUpdate", "imageUpdate", "centerImage", "imageUpdate" }));
    const double after[] = { 3500000, -1500000, 976.5625, 976.5625, 0, 0, 0 };
    QVERIFY(std::equal(after, after + 7, bench.host.values));
    QCOMPARE(bench.rows(), QString("+start alignment, -start alignment, -start alignment -"));
    QVERIFY(bench.stage(QPointF(11, 20)));
    QCOMPARE(bench.host.values[0], 2500000.0);
    QCOMPARE(bench.host.values[1], -1500000.0);
}

void TestAlignment::tracking()
{
    Bench bench;
    double *const values = bench.host.values;
    QVERIFY(bench.place());
    bench.dragImageTo(QPointF(12345, 0));
    bench.host.getPos();
    QVERIFY(bench.imageAt(QPointF(12345, 0))); // nothing has moved, so the host's word counts
    QVERIFY(bench.viewField(0.5));
    QCOMPARE(values[2], 500000.0 / edge);
    QVERIFY(bench.imageAt(QPointF(0, 0)));
    // The user's own scale lives on until a zoom finds it more than 10 % off.
    values[2] *= 1.05;
    values[3] *= 1.2;
    bench.host.getPos();
    QCOMPARE(values[3], 1.2 * 500000 / edge);
    QVERIFY(bench.viewField(2));
    QCOMPARE(values[2], 1.05 * 2000000 / edge);
    QCOMPARE(values[3], 2000000.0 / edge);
    QVERIFY(bench.stage(QPointF(10, 22)));
    QVERIFY(bench.imageAt(QPointF(0, -2000000)));
    // While a pair is being positioned the image stays, and zooms about its own centre.
    bench.host.click("align1");
    bench.dragImageTo(QPointF(777, 888));
    QVERIFY(bench.stage(QPointF(15, 25)));
    QVERIFY(bench.imageAt(QPointF(777, 888)));
    QVERIFY(bench.viewField(1));
    QVERIFY(bench.imageAt(QPointF(777, 888)));
    QCOMPARE(values[3], 1000000.0 / edge);
    // A view field of nothing, then a new one: placed afresh, without shear and rotation.
    QVERIFY(bench.viewField(0));
    values[4] = values[6] = 1;
    QVERIFY(bench.viewField(0.25));
    QCOMPARE(QVector<double>({ values[2], values[3], values[4], values[6] }),
             QVector<double>({ 250000.0 / edge, 250000.0 / edge, 0, 0 }));
}

void TestAlignment::skewedImage()
{
    Bench bench;
    double *const values = bench.host.values;
    QVERIFY(bench.place());
    const double skew[] = { 0.1, 0.2, 7 }; // both shears and the rotation, as the user set them
    std::copy(skew, skew + 3, values + 4);
    values[2] *= 1.05;
    QVERIFY(bench.stage(QPointF(12, 21)));
    QVERIFY(bench.imageAt(QPointF(-2000000, -1000000)));
    QVERIFY(std::equal(skew, skew + 3, values + 4));
    QCOMPARE(values[2], 1.05 * 1000000 / edge);
    bench.host.viewCentre = { 4000, -5000 };
    bench.host.call("alignClear"); // the image is placed anew
    QVERIFY(bench.imageAt(QPointF(4000, -5000)));
    QVERIFY(std::equal(skew, skew + 3, values + 4));
    QCOMPARE(values[2], 1000000.0 / edge);
}

void TestAlignment::imageUpdates_data()
{
    QTest::addColumn<int>("display");
    QTest::addColumn<bool>("placed");
    QTest::addColumn<QStringList>("redrawn"); // the overlay moves with the image, live frames come
    QTest::newRow("live") << 0 << true << QStringList();
    QTest::newRow("cross") << 2 << true << QStringList("imageUpdate");
    QTest::newRow("cross, not yet placed") << 2 << false << QStringList();
}

void TestAlignment::imageUpdates()
{
    QFETCH(int, display);
    QFETCH(bool, placed);
    QFETCH(QStringList, redrawn);
    Bench bench;
    QSettings().setValue("tescan/display", display);
    bench.microscope.answers.remove("GetViewField");
    bench.microscope.answers.remove("StgGetPosition");
    bench.host.answering = placed;
    bench.host.init();
    bench.host.plugin->close(); // no reminders in between
    QVERIFY(bench.host.connectTo(bench.microscope));
    QVERIFY(bench.viewField(1));
    QVERIFY(bench.stage(QPointF(12, 21)));
    QCOMPARE(bench.host.events, QStringList("posUpdate") + redrawn);
    bench.forget();
    bench.host.choose("imageSize", "1024x1024");
    QCOMPARE(bench.host.events, QStringList({ "imageUpdate", "posUpdate" }) + redrawn);
}

void TestAlignment::workflow()
{
    Bench bench;
    QSettings().setValue("tescan/display", 0);
    QVERIFY(bench.place());
    const QStringList start = { "requestAlignManuel", "posUpdate" };
    const QStringList confirm = { "requestDefaultMode", "posUpdate" };
    const QStringList clear = { "requestView", "posUpdate", "imageUpdate", "centerImage" };
    const QString fresh = "start alignment";
    const QString edit = "align editicon";
    const QString done = "re-align ok";
    const QPointF first(11, 20), second(14, 20), third(11, 25);
    const struct {
        const char *button;
        QPointF stage; // where the stage and the image are put before the click
        QStringList events;
        QString rows;
        QString status;
        QStringList commands;
    } steps[] = {
        { "align1", {}, start, "+%1, -%2, -%2 -", "scanning...", {} },
        { "align1", first, confirm, "+%3, +%2, -%2 +", "scanning...", {} },
        { "align1", {}, start, "+%1, -%2, -%2 -", "scanning...", { move(11, 20) } },
        { "align1", first, confirm, "+%3, +%2, -%2 +", "scanning...", {} },
        { "align2", {}, start, "-%3, +%1, -%2 -", "scanning...", {} },
        { "align2", second, confirm, "+%3, +%3, +%2 +", "alignment complete", {} },
        { "align1", {}, start, "+%1, -%3, -%2 -", "alignment complete", { move(11, 20) } },
        { "align1", first, confirm, "+%3, +%3, +%2 +", "alignment complete", {} },
        { "align3", {}, start, "-%3, -%3, +%1 -", "alignment complete", {} },
        { "align3", third, confirm, "+%3, +%3, +%3 +", "alignment complete", {} },
        { "align2", {}, start, "-%3, +%1, -%3 -", "alignment complete", { move(14, 20) } },
        { "align2", second, confirm, "+%3, +%3, +%3 +", "alignment complete", {} },
        { "align1", {}, start, "+%1, -%3, -%3 -", "alignment complete", { move(11, 20) } },
        { "align1", first, confirm, "+%3, +%3, +%3 +", "alignment complete", {} },
        { "align3", {}, start, "-%3, -%3, +%1 -", "alignment complete", { move(11, 25) } },
        { "align3", third, confirm, "+%3, +%3, +%3 +", "alignment complete", {} },
        { "alignClear", {}, clear, "+%2, -%2, -%2 -", "alignment complete", {} },
        { "align1", {}, start, "+%1, -%2, -%2 -", "alignment complete", {} },
    };
    bench.microscope.scan(wire::scanData(0, "\x20"));
    SPIN_COMPARE(bench.host.status(), QString("scanning..."));
    for (const auto &step : steps) {
        if (!step.stage.isNull()) {
            QVERIFY(bench.stage(step.stage));
            bench.dragImageTo(nominalWafer.design(step.stage));
        }
        bench.forget();
        bench.host.click(step.button);
        QCOMPARE(bench.host.events, step.events);
        QString rows = step.rows;
        QCOMPARE(bench.rows(), rows.replace("%1", edit).replace("%2", fresh).replace("%3", done));
        QCOMPARE(bench.host.status(), step.status);
        SPIN_COMPARE(bench.microscope.commands(), step.commands);
        if (!step.commands.isEmpty()) { // a pair that is revisited brings the image back as well
            const bool isFirst = step.button == QByteArray("align1");
            const bool isThird = step.button == QByteArray("align3");
            QVERIFY(bench.imageAt(nominalWafer.design(isFirst ? first : isThird ? third : second)));
            QVERIFY(bench.stage(QPointF(1, 1))); // so that the next step's report is news
        }
    }
}

void TestAlignment::unansweredReports()
{
    Bench bench;
    QVERIFY(bench.place());
    const QPointF design(5000, -6000);
    bench.host.click("align1");
    QVERIFY(bench.unansweredStage(QPointF(12, 21)));
    bench.dragImageTo(design);
    bench.host.click("align1");
    QVERIFY(bench.imageAt(design)); // what the stage shows by the pair just recorded
    // Back to the pair: where the stage was when it was confirmed, wherever it is now.
    QVERIFY(bench.unansweredStage(QPointF(1, 1)));
    bench.forget();
    bench.host.click("align1");
    SPIN_COMPARE(bench.microscope.commands(), QStringList(move(12, 21)));
    QVERIFY(bench.imageAt(design));
}

void TestAlignment::wafers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVector<double>>("matrix");
    QTest::addColumn<int>("pairs");
    QTest::addColumn<QString>("status");
    const double c = 1.1 * std::cos(3.5), s = 1.1 * std::sin(3.5);
    QTest::newRow("one pair") << "wafer" << QVector<double>({ -1, 0, 0, -1 }) << 1 << "connected";
    QTest::newRow("two pairs, turned by 200 degrees")
        << "" << QVector<double>({ c, -s, s, c }) << 2 << "alignment complete";
    QTest::newRow("three pairs, sheared")
        << "wafer" << QVector<double>({ -1.05, 0.1, -0.2, -0.9 }) << 3 << "alignment complete";
    QTest::newRow("two pairs, wrong scale")
        << "wafer" << QVector<double>({ -2, 0, 0, -2 }) << 2 << "alignment error";
    QTest::newRow("three pairs, mirrored")
        << "wafer" << QVector<double>({ 1, 0, 0, -1 }) << 3 << "alignment error";
}

void TestAlignment::wafers()
{
    QFETCH(QString, name);
    QFETCH(QVector<double>, matrix);
    QFETCH(int, pairs);
    QFETCH(QString, status);
    const Wafer wafer = { matrix[0], matrix[1], matrix[2], matrix[3] };
    const QPointF stages[] = { { 11, 20 }, { 13.5, 21 }, { 9, 26.25 } };
    const char *const buttons[] = { "align1", "align2", "align3" };
    Bench bench;
    QVERIFY(bench.place());
    bench.host.plugin->getDesignName("the design before");
    bench.host.plugin->getDesignName(name);
    for (int i = 0; i < pairs; ++i)
        QVERIFY(bench.align(buttons[i], stages[i], wafer.design(stages[i])));
    QCOMPARE(bench.host.status(), status);
    const QPointF elsewhere(-3, 7.5);
    QVERIFY(bench.stage(elsewhere));
    const bool rejected = status == "alignment error";
    QVERIFY(bench.imageAt(rejected ? wafer.design(stages[0]) - 1e6 * (elsewhere - stages[0])
                                   : wafer.design(elsewhere)));
    // The way back: the stage goes where the wafer shows the view's centre.
    bench.forget();
    bench.host.viewCentre = bench.host.centre(edge).toPoint();
    bench.host.click("stageToView");
    SPIN_COMPARE(bench.microscope.commands().size(), 2);
    QCOMPARE(bench.microscope.commands().first(), move(-3, 7.5));

    bench.host.destroy();
    // Of the mirrored wafer two pairs were accepted on the way.
    const int stored = rejected ? (pairs == 3 ? 2 : 0) : pairs == 1 ? 0 : pairs;
    QStringList fields(name);
    for (int i = 0; i < stored; ++i)
        for (const QPointF &point : { wafer.design(stages[i]), stages[i] })
            fields << QString::number(point.x(), 'g', 10) << QString::number(point.y(), 'g', 10);
    QCOMPARE(QSettings().value("tescan/alignMap").toStringList(),
             stored > 0 ? QStringList(fields.join(';')) : QStringList());
}

void TestAlignment::storedAlignment()
{
    Bench bench;
    QSettings().setValue("tescan/alignMap", storedChips);
    QVERIFY(bench.place());
    const QString none = "+start alignment, -start alignment, -start alignment -";
    const QString all = "+start alignment, +start alignment, +start alignment +";
    for (const char *name : { "ch", "unknown", "" }) {
        bench.host.plugin->getDesignName(name);
        QVERIFY(bench.host.events.isEmpty());
        QCOMPARE(bench.rows(), none);
    }
    bench.host.plugin->getDesignName("chi");
    QCOMPARE(bench.rows(), all);
    QVERIFY(bench.stage(QPointF(12, 20)));
    QVERIFY(bench.imageAt(QPointF(-11995000, -20000000)));
    bench.host.events.clear();
    bench.host.plugin->getDesignName("chipA");
    QCOMPARE(bench.host.events.first(), QString("posUpdate"));
    QCOMPARE(bench.host.status(), QString("alignment complete"));
    QCOMPARE(bench.rows(), all);
    QVERIFY(bench.stage(QPointF(11, 20)));
    QVERIFY(bench.imageAt(QPointF(-11000000, -20000000)));
    bench.forget();
    bench.host.click("align2");
    SPIN_COMPARE(bench.microscope.commands(), QStringList(move(1, 0)));
    QVERIFY(bench.imageAt(QPointF(-1000000, 0)));

    bench.host.call("alignClear");
    QCOMPARE(bench.rows(), none);
    bench.host.plugin->setDatabaseUnits(1e-6); // the alignment was made for another one
    bench.host.plugin->getDesignName("chipA");
    QCOMPARE(bench.host.status(), QString("alignment error"));
    QCOMPARE(bench.rows(), all);
    bench.host.call("alignClear");
    bench.host.destroy();
    QCOMPARE(QSettings().value("tescan/alignMap").toStringList(), storedChips);
}

void TestAlignment::clearingUnanswered()
{
    Bench bench;
    QSettings().setValue("tescan/alignMap", QStringList(storedChip));
    QVERIFY(bench.place());
    bench.host.plugin->getDesignName("chipA");
    bench.host.answering = false; // until the host has reported its view the alignment counts
    bench.host.call("alignClear");
    bench.host.answering = true;
    QVERIFY(bench.stage(QPointF(11, 20)));
    QVERIFY(bench.imageAt(QPointF(-11000000, -20000000)));
    bench.forget();
    bench.host.click("align1");
    SPIN_COMPARE(bench.microscope.commands(), QStringList(move(0, 0)));
    QVERIFY(bench.imageAt(QPointF(0, 0)));
}

void TestAlignment::moveStageToView()
{
    Bench bench;
    QVERIFY(bench.place());
    bench.host.events.clear();
    bench.host.click("viewToStage");
    QCOMPARE(bench.host.events, QStringList("centerImage"));
    // The fourth stage value is that of the image on display, the third and fifth are the newest.
    bench.host.answering = false;
    QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, 30, 40, 50); }));
    bench.host.answering = true;
    bench.host.viewCentre = { 2000000, -1000000 };
    bench.microscope.forget();
    bench.host.click("stageToView");
    bench.host.getView(); // once more, unasked
    bench.host.viewSize = { 600, 1000 };
    bench.host.getPos();
    bench.host.click("stageToView");
    SPIN_COMPARE(bench.microscope.commands(),
                 QStringList({ move(8, 21, 30, 4, 50), "SetViewField 8.000000e-01",
                               move(8, 21, 30, 40, 50), "SetViewField 1.000000e+00" }));
    // Nothing that is no number is ever sent.
    bench.microscope.forget();
    bench.host.zoom = 0;
    bench.host.click("stageToView");
    bench.host.zoom = std::numeric_limits<double>::quiet_NaN();
    bench.host.click("stageToView");
    bench.host.zoom = 0.001;
    const double infinite = std::numeric_limits<double>::infinity();
    for (double value3 : { infinite, 3.0 }) {
        QVERIFY(bench.report([&] { bench.microscope.setStage(10, 20, value3, value3 + 39, 5); }));
        bench.host.click("stageToView");
    }
    SPIN_COMPARE(bench.microscope.commands(),
                 QStringList({ move(8, 21, 3, 42, 5), "SetViewField 1.000000e+00" }));
}

void TestAlignment::nothingMovesBeforePlacement()
{
    Bench bench;
    bench.microscope.answers.remove("GetViewField");
    bench.host.init();
    QVERIFY(bench.host.connectTo(bench.microscope));
    bench.microscope.forget();
    bench.host.click("stageToView");
    const QString status = bench.host.status();
    QVERIFY2(!status.isEmpty() && status != "connected", qPrintable(status));
    bench.microscope.setViewField(1);
    SPIN_VERIFY(bench.host.events.contains("centerImage"));
    bench.host.getView();
    SPIN_VERIFY(bench.microscope.polls() > 1);
    QCOMPARE(bench.microscope.commands(), QStringList());
}

void TestAlignment::nonFiniteReports_data()
{
    QTest::addColumn<QByteArray>("viewField");
    QTest::addColumn<QByteArray>("stageX");
    for (const char *text : { "nan", "inf", "-inf", "1e400", "1e308" }) {
        QTest::addRow("view field %s", text) << QByteArray(text) << QByteArray("10");
        QTest::addRow("stage %s", text) << QByteArray("1") << QByteArray(text);
    }
}

void TestAlignment::nonFiniteReports()
{
    QFETCH(QByteArray, viewField);
    QFETCH(QByteArray, stageX);
    Bench bench;
    QVERIFY(bench.place());
    const QByteArray position = wire::text(stageX) + wire::position(20, 3, 4, 5).left(4 * 28);
    const auto report = [&bench](const QByteArray &position, const QByteArray &viewField) {
        return bench.report([&] {
            bench.microscope.reply(wire::message("StgGetPosition", position)
                                   + wire::message("GetViewField", viewField));
        });
    };
    QVERIFY(report(position, wire::text(viewField)));
    QVERIFY(bench.viewField(2));
    QVERIFY(bench.stage(QPointF(11, 20)));
    SPIN_COMPARE(bench.host.values[2], 2000000.0 / edge);
    SPIN_VERIFY(bench.imageAt(QPointF(-1000000, 0)));
    for (int state = 0; state < 4; ++state) { // placed, positioning, confirming, aligned
        QVERIFY(report(position, wire::text(viewField)));
        bench.host.call("align1");
        for (double value : bench.host.values)
            QVERIFY(qIsFinite(value));
        QVERIFY(report(wire::position(10, 20), wire::real(1)));
    }
    bench.host.call("alignClear");
    QVERIFY(bench.viewField(4));
    QVERIFY(bench.stage(QPointF(12, 20)));
    bench.host.getPos();
    QCOMPARE(bench.host.values[2], 4000000.0 / edge);
    QVERIFY(qIsFinite(bench.host.centre(edge).x()));
}

QTEST_MAIN(TestAlignment)
#include "tst_alignment.moc"
