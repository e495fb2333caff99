// What is remembered between two runs, and a store that rots: whatever stands in it, the plugin
// starts, and what is good in it stays.

#include "tests/pluginfixture.h"
#include "tests/process.h"

#include <QtTest>

namespace {
const QString points = ";1;2;3;4;5;6;7;8";
const QString alignMapKey = "tescan/alignMap";

const QMap<QByteArray, QByteArray> goodValues = {
    { "imageSize", "768" },
    { "port", "8311" },
    { "host", "sem.example" },
    { "detector", "1" },
    { "dwelltime", "1000" },
    { "display", "0" },
    { "alignMap", "\"good;-1;0;1;0;1000000;0;0;0\", \"best;1;2;3;4;5;6;7;8\"" }
};

/// Puts a file in the store's place. Each has a name of its own: Qt remembers what it has read.
void writeStore(const QMap<QByteArray, QByteArray> &values)
{
    static int stores = 0;
    QCoreApplication::setApplicationName(QString("store%1").arg(++stores));
    QFile file(QSettings().fileName());
    QDir().mkpath(QFileInfo(file).path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[tescan]\n");
    for (auto value = values.begin(); value != values.end(); ++value)
        file.write(value.key() + '=' + value.value() + '\n');
}

QStringList storedAlignments()
{
    return QSettings().value(alignMapKey).toStringList();
}
} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void restoredScan();
    void saved();
    void savedAlignments();
    void hostileValue_data();
    void hostileValue();
    void unwritableStore();
};

void TestSettings::restoredScan()
{
    const struct {
        int edge, dwellNs; // as stored; negative: not at all
        int usedEdge, usedDwellNs;
        QString items;
    } rows[] = {
        { -1, -1, 512, 500, "512x512 500ns" },       { 768, 1000, 768, 1000, "768x768 1000ns" },
        { 1024, 100000, 512, 500, "512x512 500ns" }, // takes too long
        { 24, 700, 24, 700, "1024x1024 100ns" },     { 8192, 0, 8192, 0, "8192x8192 100ns" },
        { 8193, 0, 512, 0, "512x512 100ns" },        { -512, -1, 512, 500, "512x512 500ns" }
    };
    for (const auto &row : rows) {
        PluginFixture host({ { "display", 0 }, { "detector", 3 } });
        if (row.edge != -1)
            host.set({ { "imageSize", row.edge } });
        if (row.dwellNs != -1)
            host.set({ { "dwelltime", row.dwellNs } });
        host.plugin->init();
        QCOMPARE(host.text("imageSize") + ' ' + host.text("dwellTime"), row.items);
        QCOMPARE(host.plugin->getImage().width(), row.usedEdge);
        QVERIFY(host.connectAll());
        const QString scan = QString("ScScanXY[9] 0 %1 %1 0 0 %2 %2 0 %3");
        SPIN_COMPARE(host.microscope.commands().join('|').section("TcpGetSWVersion", 1),
                     "|ScStopScan|DtSelect 0 3|DtEnable 0 1 8|DtAutoSignal[9] 0|"
                         + scan.arg(row.usedEdge).arg(row.usedEdge - 1).arg(row.usedDwellNs));
    }
}

void TestSettings::saved()
{
    PluginFixture host;
    host.microscope.answers["DtEnumDetectors"] = wire::text("d.name=SE\nd=0\nd.name=BSE\nd=1");
    QStringList saved;
    for (bool disconnected : { true, false }) {
        host.restart();
        QVERIFY(host.connectAll());
        SPIN_COMPARE(host.items("detector"), QString("0 - SE|1 - BSE"));
        host.use("768x768");
        host.use("1000ns");
        host.use("1 - BSE");
        host.use("displayBox");
        if (disconnected)
            host.use("disconnectButton");
        host.destroy();
        for (const QString &key : QSettings().allKeys())
            saved << key.section('/', 1) + '=' + QSettings().value(key).toString();
        QCOMPARE(saved.isEmpty(), disconnected); // only while the microscope is connected
    }
    QCOMPARE(saved.join(' '),
             "alignMap= detector=1 display=1 dwelltime=1000 host=127.0.0.1 imageSize=768 port="
                 + QString::number(host.microscope.port()));
}

void TestSettings::savedAlignments()
{
    QStringList hundred, half;
    for (int i = 0; i < 100; ++i) {
        hundred << QString("chip%1").arg(i, 3, 10, QChar('0')) + points;
        if (i % 2 == 0)
            half << hundred.last();
    }
    QStringList names;
    for (const char *odd : { "\n", " ", "\"", "%41", ",", "=", "@Variant(", "[x]", "\\", "芯片" })
        names << odd + points;
    const QStringList last("z" + points);
    const QPair<QStringList, QStringList> rows[] = {
        { { "onePair;1;2;3;4" }, {} },
        { { points, "oddField" + points + ";9" }, { points, "oddField" + points } },
        { { "later" + points, "a" + points, "later" + points + ";9;10" },
          { "a" + points, "later" + points + ";9;10" } },
        { { "c;1234.5;-0.000012345;1e10;12345678901;0.0001;x;-7;0.1" },
          { "c;1234.5;-1.2345e-05;1e+10;1.23456789e+10;0.0001;0;-7;0.1" } },
        { names, names },
        { { "abc" + points, "", "name", ";;;;", "xyz" + points },
          { "abc" + points, "xyz" + points } },
        { hundred, hundred },
        { last + hundred, half + last },
    };
    PluginFixture host;
    for (const auto &row : rows) {
        host.set({ { "alignMap", row.first } });
        host.restart();
        QVERIFY(host.connectAll());
        host.destroy();
        QCOMPARE(storedAlignments(), row.second);
    }
}

void TestSettings::hostileValue_data()
{
    QTest::addColumn<QByteArray>("value");
    const QByteArray values[] = { "-1",
                                  "",
                                  "99999999999999999999999",
                                  "2147483647",
                                  "1e9",
                                  "no number at all",
                                  "1, 2, three, \"4;5\"",
                                  "@ByteArray(\\0\\xff\\x1)",
                                  "@Size(1",
                                  "@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\0\\xfNoSuchType\\0)",
                                  "\xff\xfe\x80\x01 \x7f",
                                  '"' + QByteArray(1000000, ';') + '"' };
    for (const QByteArray &value : values)
        QTest::newRow(value.left(40)) << value;
}

void TestSettings::hostileValue()
{
    QFETCH(QByteArray, value);
    for (const QByteArray &key : goodValues.keys()) {
        PluginFixture host;
        QMap<QByteArray, QByteArray> values = goodValues;
        values[key] = value;
        writeStore(values);
        const qint64 before = residentKb();
        host.plugin->init();
        QVERIFY2(sanitized || residentKb() - before < 64 * 1024, key);
        QVERIFY2(key == "host" || host.text("host") == "sem.example", key);
        QVERIFY2(key == "port" || host.text("port") == "8311", key);
        QVERIFY2(host.connectAll(), key);
        const auto sent = [&](const char *command) {
            return spinUntil([&] { return host.microscope.commands().contains(command); });
        };
        QVERIFY2(key == "display" || key == "detector" || sent("DtSelect 0 1"), key);
        // Size and dwell time are replaced together when the frame would take too long.
        QVERIFY2(key == "display" || key == "imageSize" || key == "dwelltime"
                     || sent("ScScanXY[9] 0 768 768 0 0 767 767 0 1000"),
                 key);
        host.destroy();
        QVERIFY2(key == "alignMap"
                     || storedAlignments().join('|')
                         == "best" + points + "|good;-1;0;1;0;1000000;0;0;0",
                 key);
    }
}

/// Qt can neither read the section nor write the file, or there is no folder below a file, not even
/// for the superuser.
void TestSettings::unwritableStore()
{
    for (const bool beyondMemory : { true, false }) {
        PluginFixture host;
        QTemporaryFile file;
        QVERIFY(file.open());
        if (beyondMemory)
            writeStore({ { "alignMap", "@Variant(\\0\\0\\0\\t\\xf\\xff\\xff\\xff)" } }); // a list
        else
            QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file.fileName());
        const QString fileName = QSettings().fileName();
        const qint64 size = QFileInfo(fileName).size();
        QVERIFY(host.place());
        StandardOutput output;
        host.destroy();
        QCOMPARE(output.text(),
                 "settings could not be written to " + fileName.toLocal8Bit() + '\n');
        QCOMPARE(QFileInfo(fileName).size(), size);
        QVERIFY(host.showsLiveImage("x"));
    }
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
