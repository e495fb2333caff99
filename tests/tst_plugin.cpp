#include "tests/pluginfixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QtTest>

#include <numeric>

namespace {
const QStringList liveWidgets = { "detector", "dwellTime", "imageSize", "freezeButton" };

QString enabled(const PluginFixture &host, const QStringList &widgets)
{
    QString enabled;
    for (const QString &name : widgets)
        enabled += host.widget<QWidget>(qPrintable(name))->isEnabled() ? '+' : '-';
    return enabled;
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
    void lifeWithoutMicroscope();
    void restoredScan();
    void savedSettings();
    void savedAlignments();
    void composed();
    void displayModes();
    void imageSize();
    void reminder();
};

void TestPlugin::lifeWithoutMicroscope()
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
    host.init();
    host.init();
    QCOMPARE(host.events, QStringList({ "addWidget", "imageUpdate" }));
    QCOMPARE(host.panelName, QString("TESCAN"));
    QCOMPARE(host.widget<QLineEdit>("host")->text(), QString("127.0.0.1"));
    QCOMPARE(host.widget<QSpinBox>("port")->value(), 8300);
    QVERIFY(host.widget<QRadioButton>("displayCross")->isChecked());
    QCOMPARE(enabled(host, liveWidgets), QString("----"));
    QCOMPARE(enabled(host, { "align1", "align2", "align3", "alignClear" }), QString("----"));
    QCOMPARE(host.plugin->getImage().pixel(0, 0), 0x00646464u);
    const QSignalSpy told(host.panel, SIGNAL(destroyed()));
    host.destroy();
    QCOMPARE(told.size(), 1);
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
        QCOMPARE(enabled(host, liveWidgets), QString("++++"));
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

void TestPlugin::savedAlignments()
{
    const QString points = ";1;2;3;4;5;6;7;8";
    QStringList hundred, half;
    for (int i = 0; i < 100; ++i) {
        hundred << QString("chip%1").arg(i, 3, 10, QChar('0')) + points;
        if (i % 2 == 0)
            half << hundred.last();
    }
    const QStringList last("z" + points);
    const QPair<QStringList, QStringList> rows[] = {
        { { "onePair;1;2;3;4" }, {} },
        { { points, "oddField" + points + ";9" }, { points, "oddField" + points } },
        { { "laterWins" + points, "a" + points, "laterWins" + points + ";9;10" },
          { "a" + points, "laterWins" + points + ";9;10" } },
        { { "c;1234.5;-0.000012345;1e10;12345678901;0.0001;x;-7;0.1" },
          { "c;1234.5;-1.2345e-05;1e+10;1.23456789e+10;0.0001;0;-7;0.1" } },
        { hundred, hundred },
        { last + hundred, half + last },
    };
    PluginFixture host(LIBRARY_FILE);
    for (const auto &row : rows) {
        host.create();
        QSettings().setValue("tescan/alignMap", row.first);
        FakeMicroscope microscope;
        host.init();
        QVERIFY(host.connectTo(microscope));
        host.destroy();
        QCOMPARE(QSettings().value("tescan/alignMap").toStringList(), row.second);
    }
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
                  { "displayNone", { "imageUpdate" }, "----", 0x00646464 } };
    for (const auto &step : steps) {
        host.events.clear();
        host.click(step.button);
        QCOMPARE(host.events, step.events);
        QCOMPARE(enabled(host, liveWidgets), QString(step.live));
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
    SPIN_COMPARE(microscope.commands().last(), scanCommand(512, 500));
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

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
