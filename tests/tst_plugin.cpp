#include "tests/pluginfixture.h"

#include <QComboBox>
#include <QLibrary>
#include <QLineEdit>
#include <QMetaMethod>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QtTest>

#include <numeric>

namespace {
const char *const entryPoint = "qt_plugin_query_verification_data";

QString enabledLiveWidgets(const PluginFixture &host)
{
    QString enabled;
    for (const char *name : { "detector", "dwellTime", "imageSize", "freezeButton" })
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
    const int centre = edge / 2;
    for (int y = 0; y < edge; ++y)
        for (int x = 0; x < edge; ++x)
            if (qBound(centre - 2, x, centre + 1) == x || qBound(centre - 2, y, centre + 1) == y)
                image.setPixel(x, y, (x < centre) == (y < centre) ? 0xFFFFFFFF : 0xFF000000);
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
    void panelGone();
    void restoredScan();
    void savedSettings();
    void savedAlignments_data();
    void savedAlignments();
    void composed();
    void displayModes();
    void imageSize();
    void reminder();
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
    QCOMPARE(object->qt_metacast("com.omrandel.Quillmap.backgroundPlugIn/1.0"), nullptr);

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
    const auto query = reinterpret_cast<const char *(*)()>(library.resolve(entryPoint));
    QVERIFY(query);
    const QByteArray text = query();
    const QRegularExpression form("^pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=" QT_VERSION_STR
                                  "\ndebug=(false|true)\n"
                                  "buildkey=\\S+ linux g\\+\\+-\\d+ full-config$");
    QVERIFY2(form.match(text).hasMatch(), text);
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
    std::iota(host.values, host.values + 7, 1.0);
    host.plugin->close();
    host.plugin->setDatabaseUnits(1e-6);
    host.getView();
    host.plugin->getDesignName("chipA");
    host.getPos();
    for (int i = 0; i < 7; ++i)
        QCOMPARE(host.values[i], i + 1.0);
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

void TestPlugin::panelGone()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    delete host.panel;
    microscope.setViewField(2);
    SPIN_COMPARE(host.values[2], 2e6 / 512); // the image still follows
    const QMetaObject *meta = host.object->metaObject();
    for (int i = meta->indexOfSlot("triggerTimer()"); i < meta->methodCount(); ++i)
        meta->method(i).invoke(host.object, Q_ARG(QString, "768x768"));
    host.plugin->getDesignName("chipA");
    host.getPos();
}

void TestPlugin::restoredScan()
{
    const struct {
        QVariant size, dwell; // as stored
        QString scan, sizeItem, dwellItem;
    } rows[] = { { {}, {}, scanCommand(512, 500), "512x512", "500ns" },
                 { 768, 1000, scanCommand(768, 1000), "768x768", "1000ns" },
                 { 1024, 100000, scanCommand(512, 500), "512x512", "500ns" }, // takes too long
                 { 24, 700, scanCommand(24, 700), "1024x1024", "100ns" },
                 { 1000000, 0, scanCommand(512, 0), "512x512", "100ns" },
                 { -512, {}, scanCommand(512, 500), "512x512", "500ns" } };
    PluginFixture host(LIBRARY_FILE);
    for (const auto &row : rows) {
        host.create();
        QSettings settings;
        settings.clear();
        settings.setValue("tescan/display", 0);
        settings.setValue("tescan/detector", 3);
        if (row.size.isValid())
            settings.setValue("tescan/imageSize", row.size);
        if (row.dwell.isValid())
            settings.setValue("tescan/dwelltime", row.dwell);
        host.init();
        QCOMPARE(enabledLiveWidgets(host), QString("++++"));
        QCOMPARE(host.widget<QComboBox>("imageSize")->currentText(), row.sizeItem);
        QCOMPARE(host.widget<QComboBox>("dwellTime")->currentText(), row.dwellItem);
        FakeMicroscope microscope;
        QVERIFY(host.connectTo(microscope));
        SPIN_COMPARE(
            microscope.commands().mid(5),
            QStringList({ "DtSelect 0 3", "DtEnable 0 1 8", "DtAutoSignal[9] 0", row.scan }));
        host.destroy();
    }
}

void TestPlugin::savedSettings()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    microscope.answers["DtEnumDetectors"] = wire::text("d.name=SE\nd=0\nd.name=BSE\nd=1");
    QStringList saved; // only while the microscope is connected
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
        saved.clear();
        for (const QString &key : QSettings().allKeys())
            saved << key + '=' + QSettings().value(key).toString();
        QCOMPARE(saved.isEmpty(), disconnected);
    }
    QCOMPARE(saved.join(' '),
             QString("tescan/alignMap= tescan/detector=1 tescan/display=1 tescan/dwelltime=1000 "
                     "tescan/host=127.0.0.1 tescan/imageSize=768 tescan/port=%1")
                 .arg(microscope.port()));
}

void TestPlugin::savedAlignments_data()
{
    QTest::addColumn<QStringList>("stored");
    QTest::addColumn<QStringList>("saved");
    const QString points = ";1;2;3;4;5;6;7;8";
    QTest::newRow("one pair") << QStringList("chipA;1;2;3;4") << QStringList();
    QTest::newRow("odd field, no name") << QStringList({ points, "chipA" + points + ";9" })
                                        << QStringList({ points, "chipA" + points });
    QTest::newRow("later entry wins")
        << QStringList({ "b" + points, "a" + points, "b" + points + ";9;10" })
        << QStringList({ "a" + points, "b" + points + ";9;10" });
    QTest::newRow("number format")
        << QStringList("c;1234.5;-0.000012345;1e10;12345678901;0.0001;x;-7;0.1")
        << QStringList("c;1234.5;-1.2345e-05;1e+10;1.23456789e+10;0.0001;0;-7;0.1");
    QStringList hundred, half;
    for (int i = 0; i < 100; ++i) {
        hundred << QString("chip%1").arg(i, 3, 10, QChar('0')) + points;
        if (i % 2 == 0)
            half << hundred.last();
    }
    const QStringList last("z" + points);
    QTest::newRow("100 designs") << hundred << hundred;
    QTest::newRow("101 designs") << last + hundred << half + last;
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

void TestPlugin::composed()
{
    const QPair<int, QImage> images[] = { { 1, filled(512, 0x80646464) },
                                          { 3, filled(512, 0x00646464) },
                                          { 2, cross(512) },
                                          { 2, cross(9) },
                                          { 2, cross(1) } };
    PluginFixture host(LIBRARY_FILE);
    for (const auto &image : images) {
        host.destroy();
        QSettings().setValue("tescan/display", image.first);
        QSettings().setValue("tescan/imageSize", image.second.width());
        host.create();
        FakeMicroscope microscope;
        host.events.clear();
        QVERIFY(host.place(&microscope));
        QCOMPARE(host.plugin->getImage(), image.second);
    }
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
