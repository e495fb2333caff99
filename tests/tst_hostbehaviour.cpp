// Hosts that run an event loop of their own in the middle of a signal, or have deleted the plugin
// or its panel when the signal returns.

#include "tests/pluginfixture.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QEventLoop>
#include <QMetaMethod>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

using Trigger = std::function<void(PluginFixture &, FakeMicroscope &)>;
Q_DECLARE_METATYPE(Trigger)

namespace {
const QStringList pluginGone = { "at once", "in an event loop" };
const QStringList eitherGone = pluginGone + QStringList("panel only");

Trigger click(const char *button)
{
    return [button](PluginFixture &host, FakeMicroscope &) {
        QTest::mouseClick(host.widget<QAbstractButton>(button), Qt::LeftButton);
    };
}

Trigger chooseByKey(const char *list)
{
    return [list](PluginFixture &host, FakeMicroscope &) {
        QTest::keyClick(host.widget<QComboBox>(list), Qt::Key_Down);
    };
}

const Trigger scanData = [](PluginFixture &, FakeMicroscope &microscope) {
    microscope.scan(wire::scanData(0, "xyz") + wire::scanData(3, "abc"));
};
const Trigger stageMove = [](PluginFixture &, FakeMicroscope &microscope) {
    microscope.setStage(5, 5);
};

/// As when a host shows a message box and something else makes it delete the plugin meanwhile.
void deleteWithinLoop(PluginFixture *host)
{
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [host] { host->destroy(); });
    QTimer::singleShot(20, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

class TestHostBehaviour : public QObject {
    Q_OBJECT

private slots:
    void deletedWithinSignal_data();
    void deletedWithinSignal();
    void deletedWhileTwoAreAtWork();
    void askedWhileThePanelGoes();
    void windowGoesFirst();
};

void TestHostBehaviour::deletedWithinSignal_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("deletion");
    QTest::addColumn<bool>("placed"); // before the trigger, instead of not even initialised
    QTest::addColumn<Trigger>("trigger");
    const auto row = [](const char *name, const char *signal, Trigger trigger,
                        QStringList deletions = pluginGone, bool placed = true) {
        for (const QString &deletion : deletions)
            QTest::addRow("%s, %s, %s", signal, name, qPrintable(deletion))
                << QByteArray(signal) << deletion << placed << trigger;
    };
    const auto call = [](const char *slot) -> Trigger {
        return [slot](PluginFixture &host, FakeMicroscope &) { host.call(slot); };
    };
    const Trigger init = [](PluginFixture &host, FakeMicroscope &) { host.init(); };
    row("init", "addWidget", init, pluginGone, false);
    row("init", "imageUpdate", init, pluginGone, false);
    row("data channel", "imageUpdate", scanData, eitherGone);
    row("control channel", "posUpdate", stageMove, eitherGone);
    row("first placement", "imageUpdate", click("connectButton"));
    row("first placement", "centerImage", call("alignClear"));
    row("connect button", "requestView", click("connectButton"), eitherGone);
    row("display button", "imageUpdate", click("displayBox"));
    row("alignment button", "requestAlignManuel", click("align1"), eitherGone);
    row("alignment button", "posUpdate", click("align1"));
    row("second click", "requestDefaultMode", [](PluginFixture &host, FakeMicroscope &microscope) {
        click("align1")(host, microscope);
        click("align1")(host, microscope);
    });
    row("slot", "requestAlignAssist", call("alignAssist"));
    row("clone button", "requestCloneImage", click("freezeButton"), eitherGone);
    row("view button", "centerImage", click("viewToStage"), eitherGone);
    row("stage button", "requestView", click("stageToView"));
    row("image size", "imageUpdate", chooseByKey("imageSize"));
    row("image size", "posUpdate", chooseByKey("imageSize"));
    row("design", "posUpdate",
        [](PluginFixture &host, FakeMicroscope &) { host.plugin->getDesignName("chipA"); });
    row("refresh timer", "imageUpdate", call("triggerTimer"));
}

void TestHostBehaviour::deletedWithinSignal()
{
    QFETCH(QByteArray, signal);
    QFETCH(QString, deletion);
    QFETCH(bool, placed);
    QFETCH(Trigger, trigger);
    const bool panelOnly = deletion == "panel only";
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    QSettings().setValue("tescan/alignMap", QStringList("chipA;0;0;0;0;-1000000;0;1;0"));
    FakeMicroscope microscope;
    if (placed) {
        QVERIFY(host.place(&microscope));
        host.panel->show();
    }
    bool done = false;
    host.onSignal = [&](const QByteArray &name) {
        if (name != signal || done)
            return;
        done = true;
        if (panelOnly)
            delete host.panel;
        else if (deletion == "at once")
            host.destroy();
        else
            deleteWithinLoop(&host);
    };
    trigger(host, microscope);
    SPIN_VERIFY(done && !host.panel && (panelOnly || !host.object));
    if (panelOnly) {
        // What the microscope shows still reaches the host, unless it was asked to connect anew.
        microscope.scan(wire::scanData(0, "\x42"));
        if (signal != "requestView")
            SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), 0xFF424242u);
        return;
    }
    const auto closed = [](const QTcpSocket *socket) {
        return !socket || socket->state() == QAbstractSocket::UnconnectedState;
    };
    SPIN_VERIFY(closed(microscope.control) && closed(microscope.data));
    host.onSignal = nullptr;
    host.create();
    microscope.forget();
    QVERIFY(host.place(&microscope));
}

/// A list of the panel is at work, and in the host's event loop then a socket.
void TestHostBehaviour::deletedWhileTwoAreAtWork()
{
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    host.panel->show();
    int depth = 0;
    host.onSignal = [&](const QByteArray &name) {
        if (name != "imageUpdate")
            return;
        if (++depth == 2)
            host.destroy();
        if (depth > 1)
            return;
        scanData(host, microscope);
        spinUntil([&] { return !host.object; });
    };
    chooseByKey("imageSize")(host, microscope);
    SPIN_VERIFY(depth == 2 && !host.object && !host.panel);
}

void TestHostBehaviour::askedWhileThePanelGoes()
{
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    bool asked = false;
    connect(host.panel, &QObject::destroyed, this, [&] {
        asked = true;
        QCOMPARE(host.plugin->getImage().width(), 512);
        host.getPos();
        host.plugin->getDesignName("chipA");
        host.getView();
    });
    host.answering = false; // until then
    host.call("stageToView");
    host.destroy();
    QVERIFY(asked);
}

/// The window that took the panel is gone before the plugin, as at the end of a host.
void TestHostBehaviour::windowGoesFirst()
{
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    auto *window = new QWidget;
    (new QVBoxLayout(window))->addWidget(host.panel);
    window->show();
    delete window;
    QVERIFY(!host.panel);
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->indexOfSlot("triggerTimer()"); i < meta->methodCount(); ++i)
        meta->method(i).invoke(host.object, Q_ARG(QString, "768x768"));
    host.plugin->getDesignName("chipA");
    microscope.setViewField(2);
    SPIN_COMPARE(host.values[2], 2e6 / 768);
    scanData(host, microscope);
    SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), qRgb('x', 'x', 'x'));
    host.destroy();
    SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(QSettings().value("tescan/port").toInt(), int(microscope.port()));
}

QTEST_MAIN(TestHostBehaviour)
#include "tst_hostbehaviour.moc"
