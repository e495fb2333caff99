// The contract between host and plugin, seen from the plugin.
#include "tests/viewerfixture.h"

using viewer::Placement;

class TestViewerSession : public QObject {
    Q_OBJECT
private slots:
    void designIsReportedUnitFirst();
    void badDesignChangesNothing();
    void viewIsReported();
    void positionCarriesTheDrawnValues();
    void firstDesignComesLate();
    void firstPlacementIsCentred();
    void imageUpdatesAreCoalesced();
    void panelGoesBackToThePlugin();
};

void TestViewerSession::designIsReportedUnitFirst()
{
    ViewerFixture fixture;
    QCOMPARE(fixture.plugin->calls, QStringList({ "units 1e-09", "name TINY/TOP" }));
    fixture.plugin->calls.clear();
    QVERIFY(fixture.open("OTHER", gdsii::rectangle(1, 0, 0, 9, 9)));
    QCOMPARE(fixture.plugin->calls, QStringList({ "units 1e-09", "alignClear", "name OTHER/TOP" }));
    // Edited and loaded again: a pair that is being positioned goes on.
    emit fixture.plugin->requestAlignManuel();
    QVERIFY(fixture.open("OTHER", gdsii::rectangle(1, 0, 0, 9, 99)));
    QCOMPARE(fixture.plugin->calls.size(), 3);
    QCOMPARE(fixture.view->alignMode()->mode(), viewer::AlignMode::Manual);
    QVERIFY(fixture.open("TINY", gdsii::rectangle(1, 0, 0, 9, 9)));
    QCOMPARE(fixture.view->alignMode()->mode(), viewer::AlignMode::Off);
    emit fixture.plugin->requestDesignName();
    QCOMPARE(fixture.plugin->calls.last(), QString("name TINY/TOP"));
}

void TestViewerSession::badDesignChangesNothing()
{
    ViewerFixture fixture;
    fixture.plugin->calls.clear();
    const QString title = fixture.window.windowTitle();
    for (const QString &path : { QString("missing.gds"), fixture.write("bad.gds", "GIF89a") }) {
        QString error;
        QVERIFY(!fixture.window.openDesign(path, &error));
        QVERIFY2(error.contains(path), qPrintable(error));
        QCOMPARE(fixture.window.windowTitle(), title);
        QVERIFY(fixture.plugin->calls.isEmpty());
        QVERIFY(fixture.colourAt(50, 50) != fixture.colourAt(-50, 50));
    }
}

void TestViewerSession::viewIsReported()
{
    ViewerFixture fixture;
    fixture.look({ 1000.6, -250.4 }, 0.125);
    emit fixture.plugin->requestView();
    QCOMPARE(fixture.plugin->calls.last(), QString("view 0.125 1001 -250 400 400"));
    fixture.look({ 1e12, -1e12 }, 2); // beyond int
    emit fixture.plugin->requestView();
    QCOMPARE(fixture.plugin->calls.last(), QString("view 2 2147483647 -2147483647 400 400"));
}

void TestViewerSession::positionCarriesTheDrawnValues()
{
    ViewerFixture fixture;
    fixture.plugin->place({ 1000, 2000, 3, 4, 0.5, 0.6, 30 });
    QCOMPARE(fixture.plugin->drawnWith(), QString("1000 2000 3 4 0.5 0.6 30"));
    fixture.window.session()->setDesign("coarse", 1e-8); // its unit is ten times as long
    QCOMPARE(fixture.plugin->drawnWith(), QString("100 200 0.3 0.4 0.5 0.6 30"));
}

// Until then the plugin reckons with a nanometre, and pairs belong to no design.
void TestViewerSession::firstDesignComesLate()
{
    viewer::MainWindow window;
    auto *plugin = new StubPlugin;
    window.session()->attach(plugin);
    plugin->place({ 1000, 2000, 3, 4, 0, 0, 0 });
    window.session()->setDesign("coarse", 1e-8);
    QCOMPARE(plugin->calls, QStringList({ "units 1e-08", "alignClear", "name coarse" }));
    QCOMPARE(plugin->drawnWith(), QString("100 200 0.3 0.4 0 0 0"));
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
    // New values may be for an image of another size: both are taken at once.
    fixture.plugin->image = plain(16, 0xff808080);
    emit fixture.plugin->imageUpdate();
    emit fixture.plugin->posUpdate();
    QCOMPARE(fixture.window.background()->image().width(), 16);
}

void TestViewerSession::panelGoesBackToThePlugin()
{
    ViewerFixture fixture;
    const QPointer<QWidget> panel = fixture.plugin->panel;
    QCOMPARE(panel->window(), &fixture.window);
    emit fixture.plugin->removeWidget(panel);
    QVERIFY(panel && !panel->parent());
    emit fixture.plugin->addWidget(panel, "AGAIN");
    QCOMPARE(panel->window(), &fixture.window);
    fixture.window.session()->stop(); // the plugin deletes the panel where it is
    QVERIFY(!panel);
}

QTEST_MAIN(TestViewerSession)
#include "tst_viewersession.moc"
#include "moc_stubplugin.cpp"
