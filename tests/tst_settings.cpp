// What is remembered between two runs, and a store that rots: whatever stands in it, the plugin
// starts, and what is good in it stays.

#include "tests/pluginfixture.h"
#include "tests/process.h"

#include <QRadioButton>
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

/// What the user finds of a good store.
QMap<QByteArray, QString> shown(const PluginFixture &host)
{
    return { { "host", host.text("host") },
             { "port", host.text("port") },
             { "imageSize", host.text("imageSize") },
             { "dwelltime", host.text("dwellTime") },
             { "display",
               host.widget<QRadioButton>("displayLive")->isChecked() ? "live" : "other" } };
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
    void unwritableStore_data();
    void unwritableStore();
    void largestFrame();
};

void TestSettings::restoredScan()
{
    const struct {
        QVariantMap stored;
        int edge, dwellNs;
        QString sizeItem, dwellItem;
    } rows[] = {
        { {}, 512, 500, "512x512", "500ns" },
        { { { "imageSize", 768 }, { "dwelltime", 1000 } }, 768, 1000, "768x768", "1000ns" },
        { { { "imageSize", 1024 }, { "dwelltime", 100000 } }, // takes too long
          512,
          500,
          "512x512",
          "500ns" },
        { { { "imageSize", 24 }, { "dwelltime", 700 } }, 24, 700, "1024x1024", "100ns" },
        { { { "imageSize", 1000000 }, { "dwelltime", 0 } }, 512, 0, "512x512", "100ns" },
        { { { "imageSize", -512 } }, 512, 500, "512x512", "500ns" }
    };
    for (const auto &row : rows) {
        PluginFixture host({ { "display", 0 }, { "detector", 3 } });
        host.set(row.stored);
        host.plugin->init();
        QCOMPARE(host.text("imageSize"), row.sizeItem);
        QCOMPARE(host.text("dwellTime"), row.dwellItem);
        QVERIFY(host.connectAll());
        const QString scan = QString("ScScanXY[9] 0 %1 %1 0 0 %2 %2 0 %3");
        SPIN_COMPARE(
            host.microscope.commands().mid(4),
            QStringList({ "ScStopScan", "DtSelect 0 3", "DtEnable 0 1 8", "DtAutoSignal[9] 0",
                          scan.arg(row.edge).arg(row.edge - 1).arg(row.dwellNs) }));
    }
}

void TestSettings::saved()
{
    PluginFixture host;
    host.microscope.answers["DtEnumDetectors"] = wire::text("d.name=SE\nd=0\nd.name=BSE\nd=1");
    QStringList saved;
    for (bool disconnected : { true, false }) {
        host.restart();
        QCOMPARE(shown(host).values(),
                 QStringList({ "other", "500ns", "127.0.0.1", "512x512", "8300" }));
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
    const QMap<QByteArray, QString> good = { { "host", "sem.example" },
                                             { "port", "8311" },
                                             { "imageSize", "768x768" },
                                             { "dwelltime", "1000ns" },
                                             { "display", "live" } };
    for (const QByteArray &key : goodValues.keys()) {
        PluginFixture host;
        QMap<QByteArray, QByteArray> values = goodValues;
        values[key] = value;
        writeStore(values);
        const qint64 before = residentKb();
        host.plugin->init();
        QVERIFY2(sanitized || residentKb() - before < 64 * 1024, key);
        // Size and dwell time are replaced together when the frame would take too long.
        const bool scanIsGood = key != "imageSize" && key != "dwelltime";
        for (const QByteArray &other : good.keys())
            if (other != key && (scanIsGood || (other != "imageSize" && other != "dwelltime")))
                QVERIFY2(shown(host)[other] == good[other], key + " spoils " + other);
        QVERIFY2(host.place(), key);
        host.destroy();
        // Unchanged, so written back as they were.
        if (key != "alignMap")
            QCOMPARE(storedAlignments(),
                     QStringList({ "best" + points, "good;-1;0;1;0;1000000;0;0;0" }));
    }
}

void TestSettings::unwritableStore_data()
{
    QTest::addColumn<bool>("beyondMemory");
    QTest::newRow("Qt can neither read the section nor write the file") << true;
    QTest::newRow("below a file there is no folder, not even for the superuser") << false;
}

void TestSettings::unwritableStore()
{
    QFETCH(bool, beyondMemory);
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
    QCOMPARE(output.text(), "settings could not be written to " + fileName.toLocal8Bit() + '\n');
    QCOMPARE(QFileInfo(fileName).size(), size);
    host.create();
    QVERIFY(host.place());
}

void TestSettings::largestFrame()
{
    const QMap<int, int> edges = { { 8192, 8192 }, { 8193, 512 }, { 2147483647, 512 } };
    for (const int stored : edges.keys()) {
        PluginFixture host({ { "dwelltime", 0 }, { "display", 0 }, { "imageSize", stored } });
        host.plugin->init();
        QCOMPARE(host.plugin->getImage().width(), edges[stored]);
    }
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
