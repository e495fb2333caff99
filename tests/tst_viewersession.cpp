// The contract between host and plugin, seen from the plugin.
#include "tests/viewerfixture.h"

#include <QDockWidget>

using viewer::Placement;

class TestViewerSession : public QObject {
    Q_OBJECT
private slots:
    void designIsReportedUnitFirst();
    void badDesignChangesNothing_data();
    void badDesignChangesNothing();
    void viewIsReported_data();
    void viewIsReported();
    void positionCarriesTheDrawnValues();
    void firstPlacementIsCentred();
    void centring_data();
    void centring();
    void imageUpdatesAreCoalesced();
    void databaseUnitMovesTheImageAlong();
    void panelGoesBackToThePlugin();
    void noPluginIsNoPlugin();
};

void TestViewerSession::designIsReportedUnitFirst()
{
    ViewerFixture fixture;
    QCOMPARE(fixture.plugin->calls, QStringList({ "init", "units 1e-09", "name TINY" }));
    fixture.plugin->calls.clear();

    const QByteArray other = gdsii::structure("TOP", gdsii::rectangle(1, 0, 0, 9, 9));
    QString error;
    QVERIFY(
        fixture.window.openDesign(fixture.write("b.gds", gdsii::library(other, "OTHER")), &error));
    QCOMPARE(fixture.plugin->calls, QStringList({ "units 1e-09", "alignClear", "name OTHER" }));
    emit fixture.plugin->requestDesignName();
    QCOMPARE(fixture.plugin->calls.last(), QString("name OTHER"));
}

void TestViewerSession::badDesignChangesNothing_data()
{
    const QByteArray good =
        gdsii::library(gdsii::structure("TOP", gdsii::rectangle(1, 0, 0, 10, 10)));
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("truncated") << good.left(good.size() - 20);
    QTest::newRow("no GDSII") << QByteArray("GIF89a but certainly not a layout");
}

void TestViewerSession::badDesignChangesNothing()
{
    QFETCH(QByteArray, bytes);
    ViewerFixture fixture;
    const QString path = bytes.isEmpty() ? "missing.gds" : fixture.write("bad.gds", bytes);
    const viewer::DesignPointer before = fixture.window.design();
    const QString titleBefore = fixture.window.windowTitle();
    fixture.plugin->calls.clear();
    QString error;
    QVERIFY(!fixture.window.openDesign(path, &error));
    QVERIFY2(error.contains(path), qPrintable(error));
    QCOMPARE(fixture.window.design(), before);
    QCOMPARE(fixture.window.windowTitle(), titleBefore);
    QVERIFY(fixture.plugin->calls.isEmpty());
    QVERIFY(fixture.colourAt(50, 50) != fixture.colourAt(-50, 50));
}

void TestViewerSession::viewIsReported_data()
{
    QTest::addColumn<QPointF>("centre");
    QTest::addColumn<double>("zoom");
    QTest::addColumn<QString>("report");
    QTest::newRow("rounded") << QPointF(1000.6, -250.4) << 0.125 << "view 0.125 1001 -250 400 400";
    QTest::newRow("beyond int") << QPointF(1e12, -1e12) << 2.0
                                << "view 2 2147483647 -2147483647 400 400";
}

void TestViewerSession::viewIsReported()
{
    QFETCH(QPointF, centre);
    QFETCH(double, zoom);
    ViewerFixture fixture;
    viewer::ViewTransform transform;
    transform.setCentre(centre);
    transform.setZoom(zoom);
    fixture.view->setView(transform);
    emit fixture.plugin->requestView();
    QTEST(fixture.plugin->calls.last(), "report");
}

void TestViewerSession::positionCarriesTheDrawnValues()
{
    ViewerFixture fixture;
    fixture.plugin->place({ 1, 2, 3, 4, 5, 6, 7 });
    const Placement drawn = fixture.plugin->drawnWith();
    QCOMPARE(drawn.x, 1.0);
    QCOMPARE(drawn.y, 2.0);
    QCOMPARE(drawn.scaleX, 3.0);
    QCOMPARE(drawn.scaleY, 4.0);
    QCOMPARE(drawn.shearH, 5.0);
    QCOMPARE(drawn.shearV, 6.0);
    QCOMPARE(drawn.rotationDegrees, 7.0);
}

// The plugin asks for the centring from inside getPos, before the host has the values, and the
// image has just got its size.
void TestViewerSession::firstPlacementIsCentred()
{
    ViewerFixture fixture;
    StubPlugin *plugin = fixture.plugin;
    plugin->correct = [plugin](Placement *p) {
        *p = { 5000, 7000, 2, 2, 0, 0, 0 };
        plugin->image = plain(100, 0xff808080);
        emit plugin->imageUpdate();
        emit plugin->centerImage();
    };
    emit plugin->posUpdate();
    QCOMPARE(fixture.view->view().centre(), QPointF(5100, 6900));
    QCOMPARE(fixture.view->view().zoom(), 1.0);
}

void TestViewerSession::centring_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<double>("zoom");
    QTest::newRow("speck") << 0.1 << 0.6 * 400 / (0.1 * 100);
    QTest::newRow("small") << 0.3 << 1.0;
    QTest::newRow("large") << 70.0 << 1.0;
    QTest::newRow("huge") << 90.0 << 0.6 * 400 / (90 * 100);
}

void TestViewerSession::centring()
{
    QFETCH(double, scale);
    ViewerFixture fixture;
    fixture.show(plain(100, 0xff808080), { 300, 0, scale, scale, 0, 0, 0 });
    emit fixture.plugin->centerImage();
    const viewer::ViewTransform &view = fixture.view->view();
    QCOMPARE(view.centre(), QPointF(300 + 50 * scale, -50 * scale));
    QTEST(view.zoom(), "zoom");
}

void TestViewerSession::imageUpdatesAreCoalesced()
{
    ViewerFixture fixture;
    fixture.show(plain(4, 0xff808080), {});
    const int before = fixture.plugin->imageCalls;
    fixture.plugin->image = plain(8, 0xff808080);
    for (int i = 0; i < 1000; ++i)
        emit fixture.plugin->imageUpdate();
    QTRY_COMPARE(fixture.window.background()->image().width(), 8);
    QCOMPARE(fixture.plugin->imageCalls, before + 1);
}

void TestViewerSession::databaseUnitMovesTheImageAlong()
{
    ViewerFixture fixture;
    fixture.plugin->place({ 1000, 2000, 3, 4, 0.5, 0, 30 });
    fixture.window.session()->setDesign("coarse", 1e-8);
    const Placement drawn = fixture.plugin->drawnWith();
    QCOMPARE(drawn.x, 100.0);
    QCOMPARE(drawn.y, 200.0);
    QCOMPARE(drawn.scaleX, 0.3);
    QCOMPARE(drawn.scaleY, 0.4);
    QCOMPARE(drawn.shearH, 0.5);
    QCOMPARE(drawn.rotationDegrees, 30.0);
}

void TestViewerSession::panelGoesBackToThePlugin()
{
    ViewerFixture fixture;
    const QPointer<QWidget> panel = fixture.plugin->panel;
    QCOMPARE(panel->window(), &fixture.window);
    auto *dock = fixture.window.findChild<QDockWidget *>("pluginDock");
    QCOMPARE(dock->windowTitle(), QString("STUB"));
    emit fixture.plugin->removeWidget(panel);
    QVERIFY(panel);
    QVERIFY(!panel->parent());
    QVERIFY(!fixture.window.findChild<QDockWidget *>("pluginDock"));
    emit fixture.plugin->addWidget(panel, "AGAIN");
    QCOMPARE(panel->window(), &fixture.window);
    fixture.window.session()->stop(); // the plugin deletes the panel where it is
    QVERIFY(!panel);
}

void TestViewerSession::noPluginIsNoPlugin()
{
    ViewerFixture fixture;
    viewer::PluginSession session(fixture.window.background());
    QString error;
    QVERIFY(!session.load(fixture.write("no-library.so", "nothing"), &error));
    QVERIFY2(error.contains("no-library.so"), qPrintable(error));
    QObject stranger;
    QVERIFY(!session.attach(&stranger));
}

QTEST_MAIN(TestViewerSession)
#include "tst_viewersession.moc"
#include "moc_stubplugin.cpp"
