#include "tests/pluginfixture.h"

#include <QComboBox>
#include <QLibrary>
#include <QLineEdit>
#include <QMetaMethod>
#include <QPainter>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QtTest>

using Trigger = std::function<void(PluginFixture &, FakeMicroscope &)>;
Q_DECLARE_METATYPE(Trigger)

namespace {
const char *const liveWidgets[] = { "detector", "dwellTime", "imageSize", "freezeButton" };
const char *const entryPoint = "qt_plugin_query_verification_data";

QString enabledLiveWidgets(const PluginFixture &host)
{
    QString enabled;
    for (const char *name : liveWidgets)
        enabled += host.widget<QWidget>(name)->isEnabled() ? '+' : '-';
    return enabled;
}

QByteArray run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

QImage filled(int edge, QRgb colour)
{
    QImage image(edge, edge, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

/// Two bars four pixels wide, white in the upper left and lower right quadrant, black in the
/// others.
QImage cross(int edge)
{
    QImage image = filled(edge, 0x32646464);
    QPainter painter(&image);
    const QPoint centre(edge / 2, edge / 2);
    for (const QRect &bar :
         { QRect(centre.x() - 2, 0, 4, edge), QRect(0, centre.y() - 2, edge, 4) })
        for (const QPoint &corner :
             { QPoint(0, 0), QPoint(edge, 0), QPoint(0, edge), QPoint(edge, edge) }) {
            const QRect quadrant(qMin(corner.x(), centre.x()), qMin(corner.y(), centre.y()),
                                 qAbs(corner.x() - centre.x()), qAbs(corner.y() - centre.y()));
            painter.fillRect(bar & quadrant,
                             (corner.x() == 0) == (corner.y() == 0) ? Qt::white : Qt::black);
        }
    return image;
}

QString scanCommand(int size, int dwellNs)
{
    return QString("ScScanXY[9] 0 %1 %1 0 0 %2 %2 0 %3").arg(size).arg(size - 1).arg(dwellNs);
}
} // namespace

class TestPlugin : public QObject {
    Q_OBJECT

private slots:
    void object();
    void libraryFile();
    void beforeInit();
    void initOnce();
    void restoredScan_data();
    void restoredScan();
    void savedSettings();
    void savedAlignments_data();
    void savedAlignments();
    void composed_data();
    void composed();
    void displayModes();
    void imageSize();
    void reminder();
    void hostDeletesPanel();
    void deletedWithinSignal_data();
    void deletedWithinSignal();
    void unloadedWhileConnected();
};

void TestPlugin::object()
{
    PluginFixture host(LIBRARY_FILE);
    QByteArray methods;
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
        methods += (meta->method(i).methodType() == QMetaMethod::Signal ? '!' : ' ')
            + meta->method(i).methodSignature();
    QCOMPARE(methods,
             QByteArray("!imageUpdate()!posUpdate()!addWidget(QWidget*,QString)"
                        "!removeWidget(QWidget*)!centerImage()!requestAlignManuel()"
                        "!requestAlignAssist()!requestCloneImage()!requestView()"
                        "!requestDefaultMode()!requestDesignName()"
                        " triggerTimer() newImageData() connectToSEM() newImageSize(QString)"
                        " alignManuel() alignAssist() cloneImage() updatePos() prepareImage()"
                        " displayChanged() stageToView() viewToStage()"
                        " align1() align2() align3() alignClear()"));
    QCOMPARE(meta->className(), "backgroundSEM");
    QCOMPARE(meta->propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta->classInfoCount() + meta->enumeratorCount(), 0);

    QObject *object = host.object;
    QCOMPARE(object->qt_metacast("backgroundSEM"), static_cast<void *>(object));
    QCOMPARE(object->qt_metacast("backgroundPlugIn"), static_cast<void *>(host.plugin));
    QCOMPARE(object->qt_metacast("com.omrandel.Quillmap.backgroundPlugIn/1.1"),
             static_cast<void *>(host.plugin));
    for (const char *name :
         { static_cast<const char *>(nullptr), "com.omrandel.Quillmap.backgroundPlugIn/1.0" })
        QCOMPARE(object->qt_metacast(name), nullptr);

    // One object as long as it lives, then another.
    QPluginLoader again(LIBRARY_FILE);
    QCOMPARE(again.instance(), object);
    again.unload();
    host.destroy();
    host.create();
    QVERIFY(host.plugin);
    QCOMPARE(host.plugin->getName(), QString("TeScan SEM"));
}

void TestPlugin::libraryFile()
{
    QStringList symbols;
    for (const QByteArray &line :
         run("nm", { "-D", "--defined-only", LIBRARY_FILE }).trimmed().split('\n'))
        symbols << line.mid(line.lastIndexOf(' ') + 1);
    QCOMPARE(symbols,
             QStringList({ "qt_plugin_instance", "qt_plugin_query_metadata", entryPoint }));

    QLibrary library(LIBRARY_FILE);
    const auto query = library.resolve(entryPoint);
    QVERIFY(query);
    const QByteArray text = reinterpret_cast<const char *(*)()>(query)();
    const QList<QByteArray> lines = text.split('\n');
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.at(0), QByteArray("pattern=QT_PLUGIN_VERIFICATION_DATA"));
    QCOMPARE(lines.at(1), QByteArray("version=") + qVersion());
    QVERIFY(lines.at(2) == "debug=false" || lines.at(2) == "debug=true");
    QVERIFY(QRegularExpression("^buildkey=\\S+ linux g\\+\\+-\\d+ full-config$")
                .match(lines.at(3))
                .hasMatch());
    library.unload();
    // A loader of Qt 4 reads the section without running the library.
    QTemporaryDir dir;
    QFile section(dir.filePath("section"));
    run("objcopy", { "-O", "binary", "-j", ".qtplugin", LIBRARY_FILE, section.fileName() });
    QVERIFY(section.open(QIODevice::ReadOnly));
    QCOMPARE(section.readAll(), text + '\0');
}

void TestPlugin::beforeInit()
{
    PluginFixture host(LIBRARY_FILE);
    const double before[] = { 1, 2, 3, 4, 5, 6, 7 };
    std::copy(before, before + 7, host.values);
    host.plugin->close();
    host.plugin->setDatabaseUnits(1e-6);
    host.getView();
    host.plugin->getDesignName("chipA");
    host.getPos();
    QVERIFY(std::equal(before, before + 7, host.values));
    QVERIFY(host.plugin->getImage().isNull());
    QVERIFY(host.events.isEmpty());
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->indexOfSlot("triggerTimer()"); i < meta->methodCount(); ++i)
        meta->method(i).invoke(host.object, Q_ARG(QString, "512x512"));
    host.init();
    QVERIFY(host.panel);
}

void TestPlugin::initOnce()
{
    PluginFixture host(LIBRARY_FILE);
    host.init();
    host.init();
    QCOMPARE(host.events, QStringList({ "addWidget", "imageUpdate" }));
    QCOMPARE(host.panelName, QString("TESCAN"));
    QCOMPARE(host.widget<QLineEdit>("host")->text(), QString("127.0.0.1"));
    QCOMPARE(host.widget<QSpinBox>("port")->value(), 8300);
    QVERIFY(host.widget<QRadioButton>("displayCross")->isChecked());
    QCOMPARE(enabledLiveWidgets(host), QString("----"));
    for (const char *name : { "align1", "align2", "align3", "alignClear" })
        QVERIFY(!host.widget<QPushButton>(name)->isEnabled());
    QCOMPARE(host.plugin->getImage().pixel(0, 0), 0x00646464u);
    const QPointer<QWidget> panel = host.panel;
    host.destroy();
    QVERIFY(!panel);
}

void TestPlugin::restoredScan_data()
{
    QTest::addColumn<QVariant>("storedSize");
    QTest::addColumn<QVariant>("storedDwell");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("dwellNs");
    QTest::addColumn<QString>("sizeItem");
    QTest::addColumn<QString>("dwellItem");
    const auto row = [](QVariant storedSize, QVariant storedDwell, int size, int dwellNs,
                        const char *sizeItem, const char *dwellItem) {
        QTest::addRow("%s at %s", qPrintable(storedSize.toString()),
                      qPrintable(storedDwell.toString()))
            << storedSize << storedDwell << size << dwellNs << sizeItem << dwellItem;
    };
    row({}, {}, 512, 500, "512x512", "500ns");
    row(768, 1000, 768, 1000, "768x768", "1000ns");
    row(1024, 100000, 512, 500, "512x512", "500ns");
    row(4096, 100, 4096, 100, "4096x4096", "100ns");
    row(24, 700, 24, 700, "1024x1024", "100ns");
    row(512, 0, 512, 0, "512x512", "100ns");
    row(0, {}, 512, 500, "512x512", "500ns");
    row(-512, {}, 512, 500, "512x512", "500ns");
    row("wide", {}, 512, 500, "512x512", "500ns");
    row(1000000, 0, 512, 0, "512x512", "100ns");
}

void TestPlugin::restoredScan()
{
    QFETCH(QVariant, storedSize);
    QFETCH(QVariant, storedDwell);
    QFETCH(int, size);
    QFETCH(int, dwellNs);
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    QSettings().setValue("tescan/detector", 3);
    if (storedSize.isValid())
        QSettings().setValue("tescan/imageSize", storedSize);
    if (storedDwell.isValid())
        QSettings().setValue("tescan/dwelltime", storedDwell);
    host.init();
    QVERIFY(host.widget<QRadioButton>("displayLive")->isChecked());
    QCOMPARE(enabledLiveWidgets(host), QString("++++"));
    QTEST(host.widget<QComboBox>("imageSize")->currentText(), "sizeItem");
    QTEST(host.widget<QComboBox>("dwellTime")->currentText(), "dwellItem");
    FakeMicroscope microscope;
    QVERIFY(host.connectTo(microscope));
    SPIN_COMPARE(microscope.commands().mid(5),
                 QStringList({ "DtSelect 0 3", "DtEnable 0 1 8", "DtAutoSignal[9] 0",
                               scanCommand(size, dwellNs) }));
    QCOMPARE(host.plugin->getImage().size(), QSize(size, size));
}

void TestPlugin::savedSettings()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    microscope.answers["DtEnumDetectors"] = wire::text("d.name=SE\nd=0\nd.name=BSE\nd=1");
    QVariantMap saved; // only while the microscope is connected
    for (bool disconnected : { true, false }) {
        host.create();
        host.init();
        QVERIFY(host.connectTo(microscope));
        SPIN_COMPARE(host.widget<QComboBox>("detector")->count(), 2);
        host.choose("imageSize", "768x768");
        host.choose("dwellTime", "1000ns");
        host.choose("detector", "1 - BSE");
        host.click("displayBox");
        if (disconnected)
            host.click("disconnectButton");
        host.destroy();
        const QSettings settings;
        for (const QString &key : settings.allKeys())
            saved[key] = settings.value(key).toString();
        QCOMPARE(saved.isEmpty(), disconnected);
    }
    const QVariantMap expected = {
        { "tescan/imageSize", "768" },  { "tescan/port", QString::number(microscope.port()) },
        { "tescan/host", "127.0.0.1" }, { "tescan/detector", "1" },
        { "tescan/dwelltime", "1000" }, { "tescan/display", "1" },
        { "tescan/alignMap", "" }
    };
    QCOMPARE(saved, expected);
}

void TestPlugin::savedAlignments_data()
{
    QTest::addColumn<QStringList>("stored");
    QTest::addColumn<QStringList>("saved");
    const QString numbers = ";1;2;3;4;5;6;7;8";
    const auto row = [](const char *name, QStringList stored, QStringList saved) {
        QTest::newRow(name) << stored << saved;
    };
    row("none", {}, {});
    row("two pairs", { "chipA" + numbers }, { "chipA" + numbers });
    row("one pair", { "chipA;1;2;3;4" }, {});
    row("odd field", { "chipA" + numbers + ";9" }, { "chipA" + numbers });
    row("no name", { numbers }, { numbers });
    row("later entry wins", { "b" + numbers, "a" + numbers, "b" + numbers + ";9;10" },
        { "a" + numbers, "b" + numbers + ";9;10" });
    row("number format", { "c;1234.5;-0.000012345;1e10;12345678901;0.0001;x;-7;0.1" },
        { "c;1234.5;-1.2345e-05;1e+10;1.23456789e+10;0.0001;0;-7;0.1" });
    QStringList hundred;
    for (int i = 0; i < 100; ++i)
        hundred << QString("chip%1").arg(i, 3, 10, QChar('0')) + numbers;
    row("100 designs", hundred, hundred);
    QStringList half;
    for (int i = 0; i < 100; i += 2)
        half << hundred.at(i);
    row("101 designs", QStringList("z" + numbers) + hundred, half + QStringList("z" + numbers));
}

void TestPlugin::savedAlignments()
{
    QFETCH(QStringList, stored);
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/alignMap", stored);
    FakeMicroscope microscope;
    host.init();
    QVERIFY(host.connectTo(microscope));
    host.destroy();
    QTEST(QSettings().value("tescan/alignMap").toStringList(), "saved");
}

void TestPlugin::composed_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QImage>("expected");
    QTest::newRow("box") << 1 << filled(512, 0x80646464);
    QTest::newRow("none") << 3 << filled(512, 0x00646464);
    for (int edge : { 512, 9, 3, 1 })
        QTest::addRow("cross of %d pixels", edge) << 2 << cross(edge);
}

void TestPlugin::composed()
{
    QFETCH(int, mode);
    QFETCH(QImage, expected);
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/imageSize", expected.width());
    QSettings().setValue("tescan/display", mode);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    QCOMPARE(host.plugin->getImage(), expected);
}

void TestPlugin::displayModes()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    microscope.forget();
    const struct {
        const char *button;
        QStringList events;
        const char *live;
        QRgb corner;
    } steps[] = { { "displayCross", {}, "----", 0x32646464 },
                  { "displayBox", { "imageUpdate" }, "----", 0x80646464 },
                  { "displayLive", { "imageUpdate" }, "++++", 0xFF646464 },
                  { "displayLive", {}, "++++", 0xFF646464 },
                  { "displayNone", { "imageUpdate" }, "----", 0x00646464 } };
    for (const auto &step : steps) {
        host.events.clear();
        host.click(step.button);
        QCOMPARE(host.events, step.events);
        QCOMPARE(enabledLiveWidgets(host), QString(step.live));
        QCOMPARE(host.plugin->getImage().pixel(0, 0), step.corner);
    }
    SPIN_COMPARE(microscope.commands(),
                 QStringList({ "ScStopScan", "DtSelect 0 0", "DtEnable 0 1 8", "DtAutoSignal[9] 0",
                               scanCommand(512, 500), "ScStopScan" }));
    // Scan data reaches the host in any mode, and its picture only in the live one.
    host.events.clear();
    microscope.scan(wire::scanData(0, "\x20"));
    SPIN_COMPARE(host.events, QStringList("imageUpdate"));
    QCOMPARE(host.plugin->getImage().pixel(0, 0), 0x00646464u);
    host.click("displayLive");
    QCOMPARE(host.plugin->getImage().pixel(0, 0), 0xFF202020);
}

void TestPlugin::imageSize()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    microscope.forget();
    host.events.clear();
    host.answering = false;
    host.choose("imageSize", "1024x1024");
    QCOMPARE(host.events, QStringList({ "imageUpdate", "posUpdate" }));
    host.events.clear();
    host.getPos();
    QCOMPARE(host.events, QStringList("imageUpdate"));
    QCOMPARE(host.values[2], 976.5625);
    QCOMPARE(host.values[3], 976.5625);
    QCOMPARE(host.plugin->getImage().width(), 1024);
    for (const char *text : { "0x0", "-5x5", "99999999x1", "x", "nonsense", "" })
        QMetaObject::invokeMethod(host.object, "newImageSize", Q_ARG(QString, text));
    host.getPos();
    QCOMPARE(host.plugin->getImage().width(), 1024);
    host.choose("imageSize", "768x768");
    SPIN_COMPARE(microscope.commands(), QStringList({ "ScStopScan", "ScStopScan" }));
}

void TestPlugin::reminder()
{
    PluginFixture host(LIBRARY_FILE);
    host.init();
    host.plugin->close();
    host.plugin->getImage();
    host.events.clear();
    QElapsedTimer elapsed;
    elapsed.start();
    SPIN_COMPARE(host.events, QStringList("imageUpdate"));
    QVERIFY(elapsed.elapsed() > 4500);
}

void TestPlugin::hostDeletesPanel()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    delete host.panel;
    microscope.setStage(1, 2);
    microscope.setViewField(2);
    microscope.scan(wire::scanData(0, "\x20"));
    SPIN_COMPARE(host.values[2], 2e6 / 512);
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->indexOfSlot("triggerTimer()"); i < meta->methodCount(); ++i)
        meta->method(i).invoke(host.object, Q_ARG(QString, "768x768"));
    host.plugin->getDesignName("chipA");
    microscope.dropConnections();
    SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState);
    host.destroy();

    host.create();
    host.onSignal = [&host](const QByteArray &name) {
        if (name == "imageUpdate")
            delete host.panel;
    };
    host.init();
    QVERIFY(!host.panel);
    host.getPos();
}

void TestPlugin::deletedWithinSignal_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("mode");
    QTest::addColumn<Trigger>("trigger"); // for a placed image; before init() in mode -1
    const auto row = [](const char *signal, const char *by, int mode, Trigger trigger) {
        QTest::addRow("%s, %s", signal, by) << QByteArray(signal) << mode << trigger;
    };
    const auto click = [](const char *button, int times = 1) {
        return [button, times](PluginFixture &host, FakeMicroscope &) {
            for (int i = 0; i < times; ++i)
                host.click(button);
        };
    };
    const auto call = [](const char *slot) {
        return [slot](PluginFixture &host, FakeMicroscope &) { host.call(slot); };
    };
    const Trigger init = [](PluginFixture &host, FakeMicroscope &) { host.init(); };
    row("addWidget", "init", -1, init);
    row("imageUpdate", "init", -1, init);
    row("imageUpdate", "scan data", 0, [](PluginFixture &, FakeMicroscope &microscope) {
        microscope.scan(wire::scanData(0, "xyz"));
    });
    row("imageUpdate", "display", 0, click("displayBox"));
    row("imageUpdate", "first placement", 0, call("alignClear"));
    const Trigger size = [](PluginFixture &host, FakeMicroscope &) {
        host.choose("imageSize", "768x768");
    };
    row("imageUpdate", "image size", 0, size);
    row("posUpdate", "image size", 0, size);
    const Trigger stage = [](PluginFixture &, FakeMicroscope &microscope) {
        microscope.setStage(5, 5);
    };
    row("posUpdate", "stage", 0, stage);
    row("imageUpdate", "stage", 2, stage);
    row("posUpdate", "zoom", 0,
        [](PluginFixture &, FakeMicroscope &microscope) { microscope.setViewField(5); });
    row("posUpdate", "align", 0, click("align1"));
    row("posUpdate", "view", 0, call("alignClear"));
    row("posUpdate", "design", 0,
        [](PluginFixture &host, FakeMicroscope &) { host.plugin->getDesignName("chipA"); });
    row("centerImage", "button", 0, click("viewToStage"));
    row("centerImage", "first placement", 0, call("alignClear"));
    row("requestAlignManuel", "align", 0, click("align1"));
    row("requestAlignManuel", "slot", 0, call("alignManuel"));
    row("requestAlignAssist", "slot", 0, call("alignAssist"));
    row("requestCloneImage", "button", 0, click("freezeButton"));
    row("requestDefaultMode", "align", 0, click("align1", 2));
    row("requestView", "connect", 0, click("connectButton"));
    row("requestView", "stage to view", 0, click("stageToView"));
    row("requestView", "clear", 0, call("alignClear"));
}

void TestPlugin::deletedWithinSignal()
{
    QFETCH(QByteArray, signal);
    QFETCH(int, mode);
    QFETCH(Trigger, trigger);
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QSettings().setValue("tescan/display", mode);
    QSettings().setValue("tescan/alignMap", QStringList("chipA;0;0;0;0;-1000000;0;1;0"));
    if (mode >= 0)
        QVERIFY(host.place(&microscope));
    host.events.clear();
    host.onSignal = [&](const QByteArray &name) {
        if (name == signal)
            host.destroy();
    };
    trigger(host, microscope);
    SPIN_VERIFY(!host.object && !host.panel);
    QCOMPARE(host.events.last(), QString(signal));
    if (mode >= 0)
        SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState
                    && microscope.data->state() == QAbstractSocket::UnconnectedState);
    host.onSignal = nullptr;
    host.create();
    host.init();
    QVERIFY(host.panel);
}

void TestPlugin::unloadedWhileConnected()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QSettings().setValue("tescan/display", 0);
    QVERIFY(host.place(&microscope));
    const QImage kept = host.plugin->getImage();
    microscope.scan(wire::scanData(0, QByteArray(1000, 'x')));
    QVERIFY(host.loader.unload());
    QVERIFY(!host.object && !host.panel);
    QFile maps("/proc/self/maps");
    QVERIFY(maps.open(QIODevice::ReadOnly));
    QVERIFY(!maps.readAll().contains("backgroundSEM"));
    SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState
                && microscope.data->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(kept.pixel(0, 0), 0xFF646464);
    QCOMPARE(QSettings().value("tescan/port").toInt(), int(microscope.port()));
    host.create();
    QVERIFY(host.plugin);
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
