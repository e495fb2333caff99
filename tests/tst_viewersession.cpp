// The contract between host and plugin, seen from the plugin.
#include "tests/viewerfixture.h"

#include <QAction>

using viewer::Placement;

class TestViewerSession : public QObject {
    Q_OBJECT
private slots:
    void designIsReportedUnitFirst();
    void alignmentIsBroughtBackBetweenPairs();
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
    QStringList &calls = fixture.plugin->calls;
    const QSignalSpy placedAnew(fixture.window.session(), SIGNAL(placedAnew()));
    const auto opened = [&](const char *name) {
        calls.clear();
        return fixture.open(name, gdsii::rectangle(1, 0, 0, 9, 9));
    };
    QCOMPARE(calls, QStringList({ "units 1e-09", "name TINY/TOP" }));
    QVERIFY(opened("EARLY")); // the first placement is still to come, and with it the name
    QCOMPARE(calls, QStringList("units 1e-09"));
    fixture.plugin->placeFirst({ 1, 2, 3, 4, 0, 0, 0 });
    QCOMPARE(calls, QStringList({ "units 1e-09", "units 1e-09", "name EARLY/TOP" }));
    QVERIFY(opened("OTHER"));
    QCOMPARE(calls, QStringList({ "units 1e-09", "alignClear", "name OTHER/TOP" }));
    QCOMPARE(placedAnew.size(), 0);
    // Edited and loaded again: a pair that is being positioned goes on.
    emit fixture.plugin->requestAlignManuel();
    QVERIFY(opened("OTHER"));
    QVERIFY(calls.isEmpty());
    QCOMPARE(fixture.view->alignMode()->mode(), viewer::AlignMode::Manual);
    QVERIFY(opened("TINY"));
    QCOMPARE(fixture.view->alignMode()->mode(), viewer::AlignMode::Off);
    emit fixture.plugin->requestDesignName();
    QCOMPARE(calls.last(), QString("name TINY/TOP"));
    fixture.plugin->placeFirst({ 1, 2, 3, 4, 0, 0, 0 }); // after a reconnect
    QCOMPARE(placedAnew.size(), 1);
}

// In the middle of a pair the plugin would take the user's next click for the start of a new one.
void TestViewerSession::alignmentIsBroughtBackBetweenPairs()
{
    ViewerFixture fixture;
    const auto broughtBack = [&fixture] {
        fixture.plugin->calls.clear();
        for (QAction *action : fixture.window.findChildren<QAction *>())
            if (action->shortcut() == QKeySequence("B"))
                action->trigger();
        return !fixture.plugin->calls.isEmpty();
    };
    QVERIFY(!broughtBack());
    fixture.show(plain(4, 0xff808080), { 1, 2, 3, 4, 0, 0, 0 });
    QVERIFY(broughtBack());
    emit fixture.plugin->requestAlignManuel();
    QVERIFY(!broughtBack());
    QTest::keyClick(fixture.view, Qt::Key_Escape);
    QVERIFY(!broughtBack());
    emit fixture.plugin->requestDefaultMode();
    QVERIFY(broughtBack());
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
    plugin->placeFirst({ 1000, 2000, 3, 4, 0, 0, 0 });
    plugin->placed = false; // stays where it is
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
