// Hosts that do as they please: any call at any time, an event loop of their own in the middle of a
// signal, and a plugin or panel that is gone when the signal returns.

#include "tests/pluginfixture.h"
#include "tests/resources.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QEventLoop>
#include <QLineEdit>
#include <QMetaMethod>
#include <QRadioButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

#include <limits>
#include <random>

using Trigger = std::function<void(PluginFixture &, FakeMicroscope &)>;
Q_DECLARE_METATYPE(Trigger)

namespace {
const int rounds = sanitized ? 8 : 25;
const int stepsPerRound = 1000;
const char *const buttons[] = { "connectButton", "disconnectButton", "displayLive", "displayBox",
                                "displayCross",  "displayNone",      "stageToView", "viewToStage",
                                "align1",        "align2",           "align3",      "alignClear",
                                "freezeButton" };

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

/// Calls and events in a random order; the same for the same seed.
class Monkey {
public:
    Monkey(unsigned int seed, PluginFixture *host)
        : m_random(seed)
        , m_host(host)
    {
        host->onSignal = [this](const QByteArray &) { withinSignal(); };
    }
    ~Monkey() { m_host->onSignal = nullptr; }

    void step();

    FakeMicroscope microscope;
    int signalsSeen = 0;

private:
    int below(int limit) { return int(m_random() % unsigned(limit)); }
    double number();
    QString text();
    void withinSignal();
    void callInterface();
    void callSlot();
    void usePanel();
    void connectNow();
    void microscopeSpeaks();
    void replacePlugin();

    std::mt19937 m_random;
    PluginFixture *m_host;
    int m_depth = 0;
};

double Monkey::number()
{
    using Limits = std::numeric_limits<double>;
    const double numbers[] = { 0,
                               1,
                               -1,
                               1e-9,
                               1e-3,
                               0.5,
                               1e308,
                               -1e308,
                               1e-308,
                               4711,
                               Limits::infinity(),
                               -Limits::infinity(),
                               Limits::quiet_NaN(),
                               Limits::denorm_min() };
    return numbers[below(sizeof numbers / sizeof numbers[0])];
}

QString Monkey::text()
{
    const QStringList texts = { "",        "x",     "0x0",    "-5x5",     "64x64",
                                "512x512", "chipA", "chip;B", "芯片芯片", "ab",
                                "1 - SE",  "ns",    "-7ns",   "500ns",    "99999999999ns" };
    return texts.at(below(texts.size()));
}

void Monkey::withinSignal()
{
    ++signalsSeen;
    if (m_depth > 2 || below(4) > 0)
        return;
    ++m_depth;
    step();
    --m_depth;
}

void Monkey::callInterface()
{
    backgroundPlugIn *plugin = m_host->plugin;
    switch (below(8)) {
    case 0:
        return plugin->init();
    case 1:
        return plugin->close();
    case 2:
        plugin->getImage();
        return;
    case 3:
        plugin->getName();
        return;
    case 4:
        return plugin->setDatabaseUnits(number());
    case 5:
        return plugin->getDesignName(text());
    case 6:
        return plugin->getView(number(), int(m_random()), below(9), int(m_random()), below(9));
    default:
        for (double &value : m_host->values)
            value = below(3) ? value : number();
        return m_host->getPos();
    }
}

void Monkey::callSlot()
{
    const QMetaObject *meta = m_host->object->metaObject();
    const int first = meta->indexOfSlot("triggerTimer()");
    meta->method(first + below(meta->methodCount() - first))
        .invoke(m_host->object, Q_ARG(QString, text()));
}

void Monkey::usePanel()
{
    if (!m_host->panel)
        return;
    m_host->widget<QSpinBox>("port")->setValue(below(8) ? microscope.port() : 1);
    QComboBox *list = m_host->widget<QComboBox>(below(2) ? "dwellTime" : "detector");
    if (below(4) == 0)
        list->setCurrentIndex(below(list->count() + 1) - 1);
    else
        m_host->click(buttons[below(sizeof buttons / sizeof buttons[0])]);
}

/// So often that most steps find an image in place.
void Monkey::connectNow()
{
    if (below(4) > 0 || m_depth > 0)
        return;
    m_host->plugin->init();
    if (!m_host->panel)
        return;
    m_host->widget<QLineEdit>("host")->setText("127.0.0.1");
    m_host->widget<QSpinBox>("port")->setValue(microscope.port());
    m_host->click("connectButton");
    for (int i = 0; i < 100; ++i) {
        QThread::usleep(50);
        QCoreApplication::processEvents();
    }
    microscope.setStage(1, 2);
    microscope.setViewField(1);
}

void Monkey::microscopeSpeaks()
{
    switch (below(6)) {
    case 0:
        return microscope.setStage(number(), number(), number(), number(), number());
    case 1:
        return microscope.setViewField(number());
    case 2:
        return microscope.scan(wire::scanData(m_random(), QByteArray(below(3000), 'x')));
    case 3:
        return microscope.scan(QByteArray(below(100), char(m_random())));
    case 4:
        return microscope.reply(wire::message("DtEnumDetectors", wire::text("a.name=SE\na=0")));
    default:
        return below(4) ? microscope.reply(wire::message("Odd", "body"))
                        : microscope.dropConnections();
    }
}

void Monkey::replacePlugin()
{
    if (below(10) > 0)
        return;
    m_host->destroy();
    m_host->create();
}

void Monkey::step()
{
    if (!m_host->object)
        m_host->create();
    switch (below(7)) {
    case 0:
        return callInterface();
    case 1:
        return callSlot();
    case 2:
        return usePanel();
    case 3:
        return microscopeSpeaks();
    case 4:
        return replacePlugin();
    case 5:
        return connectNow();
    default:
        QCoreApplication::processEvents();
    }
}
} // namespace

class TestHostBehaviour : public QObject {
    Q_OBJECT

private slots:
    void anyOrder();
    void deletedWithinSignal_data();
    void deletedWithinSignal();
    void deletedWhileTwoAreAtWork();
    void panelDeletedWithinSignal_data();
    void panelDeletedWithinSignal();
    void windowGoesFirst();
};

void TestHostBehaviour::anyOrder()
{
    PluginFixture host(LIBRARY_FILE);
    int signalsSeen = 0;
    for (int round = 0; round < rounds; ++round) {
        {
            Monkey monkey(unsigned(round), &host);
            for (int i = 0; i < stepsPerRound; ++i)
                monkey.step();
            signalsSeen += monkey.signalsSeen;
        }
        // Whatever it did, this plugin still shows a live image.
        if (!host.panel)
            host.init();
        host.plugin->setDatabaseUnits(1e-9);
        std::fill(host.values, host.values + 7, 0.0);
        FakeMicroscope microscope;
        host.widget<QLineEdit>("host")->setText("127.0.0.1");
        host.widget<QSpinBox>("port")->setValue(microscope.port());
        host.click("connectButton");
        SPIN_VERIFY(microscope.data);
        SPIN_COMPARE(host.widget<QStackedWidget>("stackedWidget")->currentIndex(), 1);
        if (!host.widget<QRadioButton>("displayLive")->isChecked())
            host.click("displayLive");
        microscope.setStage(1, 2);
        microscope.setViewField(1);
        microscope.scan(wire::scanData(0, QByteArray(1, char(round))));
        SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), qRgb(round, round, round));
        host.events.clear();
    }
    qInfo("%d steps, %d signals", rounds * stepsPerRound, signalsSeen);
}

void TestHostBehaviour::deletedWithinSignal_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<bool>("placed"); // before the trigger, instead of not even initialised
    QTest::addColumn<bool>("inEventLoop");
    QTest::addColumn<Trigger>("trigger");
    const auto row = [](const char *name, const char *signal, Trigger trigger, bool placed = true) {
        for (const bool inEventLoop : { false, true })
            QTest::addRow("%s, %s, %s", signal, name, inEventLoop ? "event loop" : "at once")
                << QByteArray(signal) << placed << inEventLoop << trigger;
    };
    const auto call = [](const char *slot) -> Trigger {
        return [slot](PluginFixture &host, FakeMicroscope &) { host.call(slot); };
    };
    const Trigger init = [](PluginFixture &host, FakeMicroscope &) { host.init(); };
    row("init", "addWidget", init, false);
    row("init", "imageUpdate", init, false);
    row("data channel", "imageUpdate", scanData);
    row("control channel", "posUpdate", stageMove);
    row("first placement", "imageUpdate", click("connectButton"));
    row("first placement", "centerImage", call("alignClear"));
    row("connect button", "requestView", click("connectButton"));
    row("display button", "imageUpdate", click("displayBox"));
    row("alignment button", "requestAlignManuel", click("align1"));
    row("alignment button", "posUpdate", click("align1"));
    row("second click", "requestDefaultMode", [](PluginFixture &host, FakeMicroscope &microscope) {
        click("align1")(host, microscope);
        click("align1")(host, microscope);
    });
    row("slot", "requestAlignAssist", call("alignAssist"));
    row("clone button", "requestCloneImage", click("freezeButton"));
    row("view button", "centerImage", click("viewToStage"));
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
    QFETCH(bool, placed);
    QFETCH(bool, inEventLoop);
    QFETCH(Trigger, trigger);
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
        if (inEventLoop)
            deleteWithinLoop(&host);
        else
            host.destroy();
    };
    trigger(host, microscope);
    SPIN_VERIFY(done && !host.object && !host.panel);
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

void TestHostBehaviour::panelDeletedWithinSignal_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<Trigger>("trigger");
    const auto row = [](const char *signal, Trigger trigger) {
        QTest::newRow(signal) << QByteArray(signal) << trigger;
    };
    row("requestView", click("connectButton"));
    row("requestAlignManuel", click("align1"));
    row("centerImage", click("viewToStage"));
    row("requestCloneImage", click("freezeButton"));
    row("imageUpdate", scanData);
    row("posUpdate", stageMove);
}

void TestHostBehaviour::panelDeletedWithinSignal()
{
    QFETCH(QByteArray, signal);
    QFETCH(Trigger, trigger);
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    host.panel->show();
    host.onSignal = [&](const QByteArray &name) {
        if (name == signal)
            delete host.panel;
    };
    trigger(host, microscope);
    SPIN_VERIFY(!host.panel);
    QVERIFY(host.object);
    // What the microscope shows still reaches the host, unless that was connecting anew.
    if (signal == "requestView")
        return;
    microscope.scan(wire::scanData(0, "\x42"));
    SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), 0xFF424242u);
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
    scanData(host, microscope);
    SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), qRgb('x', 'x', 'x'));
    host.destroy();
    SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(QSettings().value("tescan/port").toInt(), int(microscope.port()));
}

QTEST_MAIN(TestHostBehaviour)
#include "tst_hostbehaviour.moc"
