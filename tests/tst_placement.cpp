// Where the host draws the image: the first placement, and what moves it.

#include "tests/pluginfixture.h"

#include <QtTest>

const double unitsPerPixel = 1e6 / 512; // for a view field of 1 mm

class TestPlacement : public QObject {
    Q_OBJECT

private slots:
    void firstPlacement();
    void tracking();
    void nonFiniteReports();
};

void TestPlacement::firstPlacement()
{
    for (const bool live : { true, false }) {
        const int size = live ? 1024 : 1023;
        // An overlay is drawn anew when it moves with the image; live frames come anyway.
        const QString redrawn = live ? "" : "|imageUpdate";
        PluginFixture host({ { "display", live ? 0 : 2 }, { "imageSize", size } });
        host.plugin->init();
        host.plugin->close(); // no reminders in between
        QVERIFY(host.connectAll());
        host.use("stageToView"); // moves nothing, not even later
        QVERIFY(!QStringList({ "", "connected" }).contains(host.text("statusDisplay")));
        host.viewCentre = { 4000000, -2000000 }; // the last view counts
        host.getView();
        host.answering = false;
        host.microscope.setStage(10, 20);
        QVERIFY(host.reportViewField(1));
        QCOMPARE(host.values[2], 1.0);
        host.answering = true;
        host.getPos();
        QCOMPARE(host.events.join('|'), QString("posUpdate|imageUpdate|centerImage"));
        QVERIFY(host.imageAt({ 4e6, -2e6 }, size));
        for (int i = 0; i < 5; ++i)
            QCOMPARE(host.values[2 + i], i < 2 ? 1e6 / size : 0);
        QVERIFY(host.reportStage({ 11, 20 }) && host.imageAt({ 3e6, -2e6 }, size));
        QCOMPARE(host.events.join('|'), "posUpdate" + redrawn);
        host.events.clear();
        host.use("768x768");
        QCOMPARE(host.events.join('|'), "imageUpdate|posUpdate" + redrawn);
        QCOMPARE(host.values[3], 1e6 / 768);
        host.getView();
        const int polls = host.microscope.polls();
        SPIN_VERIFY(host.microscope.polls() > polls + 1);
        QVERIFY(!host.microscope.commands().join(' ').contains("StgMoveTo"));
    }
}

void TestPlacement::tracking()
{
    PluginFixture host;
    double *const values = host.values;
    QVERIFY(host.place());
    const double skew[] = { 0.1, 0.2, 7 }; // both shears and the rotation, as the user set
    std::copy(skew, skew + 3, values + 4);
    host.dragImageTo({ 12345, 0 });
    host.getPos();
    QVERIFY(host.imageAt({ 12345, 0 })); // nothing has moved, so the host's word counts
    // The user's own scale lives on until a zoom finds it more than 10 % off.
    double viewField = 1;
    for (const QPointF scale : { QPointF(0.9, 0.9), QPointF(1.1, 1.1), QPointF(0.8999999, 1),
                                 QPointF(1.1000001, 1), QPointF(-1, 1) })
        for (int axis : { 0, 1 }) {
            values[2 + axis] = scale.x() * viewField * unitsPerPixel;
            values[3 - axis] = viewField * unitsPerPixel;
            viewField = 3 - viewField;
            QVERIFY(host.reportViewField(viewField) && host.imageAt({ 0, 0 }));
            QCOMPARE(values[2 + axis], scale.y() * viewField * unitsPerPixel);
            QCOMPARE(values[3 - axis], viewField * unitsPerPixel);
        }
    QVERIFY(host.reportStage({ 10, 22 }) && host.imageAt({ 0, -2000000 }));
    // While a pair is being positioned the image stays, and zooms about its own centre.
    host.use("align1");
    host.dragImageTo({ 777, 888 });
    QVERIFY(host.reportStage({ 15, 25 }) && host.imageAt({ 777, 888 }));
    QVERIFY(host.reportViewField(2) && host.imageAt({ 777, 888 }));
    host.viewCentre = { 4000, -5000 };
    host.call("alignClear"); // the image is placed anew
    QVERIFY(host.imageAt({ 4000, -5000 }) && std::equal(skew, skew + 3, values + 4));
    // A view field of nothing, then a new one: without shear and rotation.
    QVERIFY(host.reportViewField(0) && host.reportViewField(0.5));
    for (int i = 0; i < 5; ++i)
        QCOMPARE(values[2 + i], i < 2 ? 0.5 * unitsPerPixel : 0);
}

void TestPlacement::nonFiniteReports()
{
    for (const QByteArray number : { "nan", "-inf", "1e400", "1e308" })
        for (const bool ofStage : { true, false }) {
            const QByteArray stage = wire::text(ofStage ? number : "10"), rest = wire::real(20);
            const QByteArray bad =
                wire::message("StgGetPosition", stage + rest + rest + rest + rest)
                + wire::message("GetViewField", wire::text(ofStage ? "1" : number));
            PluginFixture host;
            QVERIFY(host.place());
            for (int state = 0; state < 4; ++state) { // placed, positioning, confirming, aligned
                QVERIFY(host.report([&] { host.microscope.reply(bad); }));
                host.call("align1");
                QVERIFY2(host.isFinite(), number);
                host.microscope.setStage(11 + state, 20);
                QVERIFY2(host.reportViewField(2 + state), number);
                SPIN_COMPARE(host.values[2], (2 + state) * unitsPerPixel);
            }
            host.call("alignClear");
            QVERIFY2(host.reportStage({ 20, 20 }) && host.imageAt({ -6000000, 0 }), number);
        }
}

QTEST_MAIN(TestPlacement)
#include "tst_placement.moc"
