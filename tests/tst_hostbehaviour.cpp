// Hosts, users and microscopes that do anything at any time, also in the middle of a signal.

#include "tests/pluginfixture.h"
#include "tests/process.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QEventLoop>
#include <QMetaMethod>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

#include <random>

namespace {
const QVariantMap live = { { "display", 0 },
                           { "alignMap", QStringList("chipA;0;0;0;0;-1000000;0;1;0") } };

/// A button or list of the panel, a slot of the plugin, or something else by its name.
void act(PluginFixture *host, const char *name)
{
    QWidget *widget = host->panel ? host->widget(name) : nullptr;
    if (!qstrcmp(name, "scan"))
        host->microscope.scan(wire::scanData(0, "xyz") + wire::scanData(3, "abc"));
    else if (!qstrcmp(name, "stage"))
        host->microscope.setStage(5, 5);
    else if (!qstrcmp(name, "design"))
        host->plugin->getDesignName("chipA");
    else if (!qstrcmp(name, "init"))
        host->plugin->init();
    else if (qobject_cast<QComboBox *>(widget))
        QTest::keyClick(widget, Qt::Key_Down);
    else if (widget && widget->isEnabled())
        QTest::mouseClick(widget, Qt::LeftButton);
    else
        host->call(name);
}

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
    void anyOrder();
    void stageGoesWhereItIsSent();
};

void TestHostBehaviour::deletedWithinSignal_data()
{
    QTest::addColumn<QString>("trigger");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("deletion");
    // Qt's own lists do not survive being deleted within their signal.
    const QRegularExpression pluginOnly("init|imageSize|connectButton imageUpdate");
    for (const QByteArray row :
         { "init addWidget", "init imageUpdate", "scan imageUpdate", "stage posUpdate",
           "connectButton requestView", "connectButton imageUpdate", "alignClear centerImage",
           "displayBox imageUpdate", "align1 requestAlignManuel", "align1 posUpdate",
           "align1,align1 requestDefaultMode", "alignAssist requestAlignAssist",
           "freezeButton requestCloneImage", "viewToStage centerImage", "stageToView requestView",
           "imageSize imageUpdate", "imageSize posUpdate", "design posUpdate",
           "triggerTimer imageUpdate" })
        for (const QString deletion : { "at once", "in an event loop", "panel only" })
            if (deletion != "panel only" || !QString(row).contains(pluginOnly))
                QTest::newRow(row + ", " + deletion.toLatin1())
                    << QString(row.split(' ')[0]) << QString(row.split(' ')[1]) << deletion;
}

void TestHostBehaviour::deletedWithinSignal()
{
    QFETCH(QString, trigger);
    QFETCH(QString, signal);
    QFETCH(QString, deletion);
    const bool panelOnly = deletion == "panel only";
    PluginFixture host(live);
    if (trigger != "init") {
        QVERIFY(host.place());
        host.panel->show();
    }
    bool done = false;
    host.onSignal = [&](const QByteArray &name) {
        if (name != signal || done)
            return;
        done = true;
        if (panelOnly)
            delete host.panel;
        else
            deletion == "at once" ? host.destroy() : deleteWithinLoop(&host);
    };
    for (const QString &name : trigger.split(','))
        act(&host, name.toLatin1());
    SPIN_VERIFY(done && !host.panel && (panelOnly || !host.object));
    host.onSignal = nullptr;
    if (!panelOnly) {
        SPIN_VERIFY(host.microscope.isAlone());
        QVERIFY(host.showsLiveImage("\x42"));
    } else if (trigger != "init" && signal != "requestView" && trigger != "displayBox") {
        host.microscope.scan(wire::scanData(0, "\x42"));
        SPIN_COMPARE(host.corner(), 0xFF424242u); // what the microscope shows still arrives
    }
}

/// A list of the panel is at work, and in the host's event loop then a socket.
void TestHostBehaviour::deletedWhileTwoAreAtWork()
{
    PluginFixture host(live);
    QVERIFY(host.place());
    host.panel->show();
    int depth = 0;
    host.onSignal = [&](const QByteArray &name) {
        if (name != "imageUpdate" || ++depth > 2)
            return;
        if (depth == 2)
            return host.destroy();
        act(&host, "scan");
        spinUntil([&] { return !host.object; });
    };
    act(&host, "imageSize");
    SPIN_VERIFY(depth == 2 && !host.object && !host.panel);
}

void TestHostBehaviour::askedWhileThePanelGoes()
{
    PluginFixture host(live);
    QVERIFY(host.place());
    bool asked = false;
    connect(host.panel, &QObject::destroyed, this, [&] {
        asked = true;
        host.plugin->getImage();
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
    PluginFixture host(live);
    QVERIFY(host.place());
    auto *window = new QWidget;
    (new QVBoxLayout(window))->addWidget(host.panel);
    window->show();
    delete window;
    QVERIFY(!host.panel);
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->indexOfSlot("triggerTimer()"); i < meta->methodCount(); ++i)
        meta->method(i).invoke(host.object, Q_ARG(QString, "768x768"));
    host.plugin->getDesignName("chipA");
    host.microscope.setViewField(2);
    SPIN_COMPARE(host.values[2], 2e6 / 768);
    act(&host, "scan");
    SPIN_COMPARE(host.corner(), qRgb('x', 'x', 'x'));
    host.destroy();
    SPIN_VERIFY(host.microscope.isAlone());
    QCOMPARE(QSettings().value("tescan/port").toInt(), int(host.microscope.port()));
}

/// The same for the same seed.
void TestHostBehaviour::anyOrder()
{
    const double numbers[] = {
        0, 1, -1, 1e-9, 0.5, 1e308, -1e308, 5e-324, qInf(), -qInf(), qQNaN()
    };
    const QStringList texts = { "",        "x",     "0x0",      "-5x5",  "64x64",
                                "512x512", "chipA", "芯片芯片", "1 - SE" };
    PluginFixture host;
    FakeMicroscope &microscope = host.microscope;
    std::mt19937 random;
    int depth = 0;
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    const auto number = [&] { return numbers[below(11)]; };
    const auto text = [&] { return texts.at(below(texts.size())); };
    const auto connectNow = [&] {
        host.plugin->init();
        if (host.panel)
            host.pressConnect(below(8) ? 0 : 1);
        for (int i = 0; i < 100; ++i) {
            QThread::usleep(50);
            QCoreApplication::processEvents();
        }
        microscope.setStage(1, 2);
        microscope.setViewField(1);
    };
    const QByteArray list = wire::message("DtEnumDetectors", wire::text("a.name=SE\na=0"));
    const std::function<void()> acts[] = {
        [&] { host.plugin->close(); },
        [&] { host.plugin->getImage(); },
        [&] { host.plugin->setDatabaseUnits(number()); },
        [&] { host.plugin->getDesignName(text()); },
        [&] { host.plugin->getView(number(), int(random()), 7, int(random()), below(9)); },
        [&] { host.values[below(7)] = number(), host.getPos(); },
        [&] { microscope.setStage(number(), number(), number(), number(), number()); },
        [&] { microscope.setViewField(number()); },
        [&] { microscope.scan(wire::scanData(random(), QByteArray(below(3000), 'x'))); },
        [&] { microscope.scan(QByteArray(below(100), char(random()))); },
        [&] { microscope.reply(below(2) ? list : wire::message("Odd", "body")); },
        [&] { below(5) ? void() : microscope.dropConnections(); },
        [&] { below(4) ? void() : host.destroy(); },
        [&] { below(4) || depth ? QCoreApplication::processEvents() : connectNow(); },
    };
    const QStringList buttons = { "connectButton", "disconnectButton", "displayLive", "displayBox",
                                  "align1",        "align2",           "align3",      "alignClear",
                                  "stageToView",   "freezeButton",     "100ns",       "1000ns",
                                  "0 - SE" };
    const auto step = [&] {
        host.create();
        const QMetaObject *meta = host.object->metaObject();
        const int first = meta->indexOfSlot("triggerTimer()"), kind = below(4);
        if (kind == 0)
            meta->method(first + below(meta->methodCount() - first))
                .invoke(host.object, Q_ARG(QString, text()));
        else if (kind == 1 && host.panel)
            host.use(buttons.at(below(buttons.size())));
        else
            acts[below(14)]();
    };
    for (int round = 0; round < (sanitized ? 8 : 25); ++round) {
        random.seed(unsigned(round));
        host.onSignal = [&](const QByteArray &) {
            if (depth > 2 || below(4) > 0)
                return;
            ++depth;
            step();
            --depth;
        };
        for (int i = 0; i < 1000; ++i)
            step();
        host.onSignal = nullptr;
        QVERIFY(host.showsLiveImage(QByteArray(1, char(round))));
        host.forget();
    }
}

/// In whatever order rows, connections, designs and views come from the panel and a host that
/// answers: the stage goes only to pairs, and to the centres of views. The wafer lies straight and
/// the user always puts the image in its place, so all maps made of real pairs are the same.
void TestHostBehaviour::stageGoesWhereItIsSent()
{
    const auto shown = [](const QPointF &at) { return QPointF(3e6, -2e6) - 1e6 * at; };
    PluginFixture host({ { "alignMap", "chip;-2000000;-7000000;5;5;-3000000;-7000000;6;5" } });
    QPointF stage(10, 20);
    QSet<QString> allowed = { "5.000000e+00 5.000000e+00", "6.000000e+00 5.000000e+00" };
    std::mt19937 random;
    int moves = 0;
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    const auto anywhere = [&] { return QPointF(1 + below(19000), 1 + below(19000)) / 1000; };
    const auto view = [&](const QPointF &at) { // the host's from now on
        allowed << QString("%1 %2").arg(at.x(), 0, 'e', 6).arg(at.y(), 0, 'e', 6);
        host.viewCentre = shown(at).toPoint();
    };
    const std::function<void()> acts[] = {
        [&] { host.use("disconnectButton"), spinUntil([&] { return host.microscope.isAlone(); }); },
        [&] { host.pressConnect(), spinUntil([&] { return host.page() == 1; }); },
        [&] { host.plugin->getDesignName(below(2) ? "chip" : "other"); },
        [&] { host.use("alignClear"); },
        [&] {
            host.getView();
            view(anywhere());
            host.use("stageToView");
            view(stage);
            host.getView();
        },
        [&] {
            if (host.page() == 0)
                return;
            view(stage = anywhere());
            const QByteArray mark = "mark " + QByteArray::number(below(1 << 30));
            host.microscope.setStage(stage.x(), stage.y());
            host.microscope.reply(wire::message("TcpGetVersion", wire::text(mark)));
            spinUntil([&] { return host.text("infoText").endsWith(mark); });
        },
    };
    view(stage);
    QVERIFY(host.place());
    for (int round = 0; round < (sanitized ? 10 : 40); ++round) {
        random.seed(unsigned(round));
        for (int i = 0; i < 150; ++i) {
            host.dragImageTo(shown(stage));
            below(3) ? host.use(QByteArray("align") + char('1' + below(3))) : acts[below(6)]();
        }
        acts[0]();
        for (const QString &move : host.microscope.commands().filter("StgMoveTo"))
            QVERIFY2(++moves && allowed.contains(move.section(' ', 1, 2)), qPrintable(move));
        host.forget();
        acts[1]();
    }
    QVERIFY(moves > 50);
}

QTEST_MAIN(TestHostBehaviour)
#include "tst_hostbehaviour.moc"
