// A settings store that rots: whatever stands in it, the plugin starts, and what is good in it
// stays.

#include "tests/pluginfixture.h"
#include "tests/resources.h"
#include "tests/standardoutput.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QtTest>

namespace {
const QString points = ";1;2;3;4;5;6;7;8";
const qint64 ordinaryKb = 64 * 1024;
const qint64 largestFrameKb = 256 * 1024; // 8192 pixels a side

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
void writeStore(const QByteArray &content)
{
    static int stores = 0;
    QCoreApplication::setApplicationName(QString("store%1").arg(++stores));
    QFile file(QSettings().fileName());
    QDir().mkpath(QFileInfo(file).path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray storeOf(const QMap<QByteArray, QByteArray> &values)
{
    QByteArray content = "[tescan]\n";
    for (auto value = values.begin(); value != values.end(); ++value)
        content += value.key() + '=' + value.value() + '\n';
    return content;
}

void restart(PluginFixture *host)
{
    host->destroy();
    host->create();
    host->init();
}

/// Whether the design has an alignment, as the user sees it: its rows can be aligned again.
bool hasAlignment(const PluginFixture &host, const QString &design)
{
    const auto button = [&host] { return host.widget<QPushButton>("align2"); };
    button()->setEnabled(false);
    host.plugin->getDesignName(design);
    return button()->isEnabled();
}

QStringList storedAlignments()
{
    return QSettings().value("tescan/alignMap").toStringList();
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void hostileValue_data();
    void hostileValue();
    void hostileAlignments();
    void valueBeyondMemory();
    void largestFrame();
    void namesInAllScripts();
    void unwritableStore();
};

void TestSettings::hostileValue_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value");
    const QMap<const char *, QByteArray> values = {
        { "negative", "-1" },
        { "nothing", "" },
        { "beyond any integer", "99999999999999999999999" },
        { "largest integer", "2147483647" },
        { "real", "1e9" },
        { "text", "no number at all" },
        { "list", "1, 2, three, \"4;5\"" },
        { "bytes", "@ByteArray(\\0\\xff\\x1)" },
        { "broken size", "@Size(1" },
        { "unknown type", "@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\0\\xfNoSuchType\\0)" },
        { "raw bytes", "\xff\xfe\x80\x01 \x7f" },
        { "a million semicolons", '"' + QByteArray(1000000, ';') + '"' },
    };
    for (const QByteArray &key : goodValues.keys())
        for (auto value = values.begin(); value != values.end(); ++value)
            QTest::addRow("%s: %s", key.constData(), value.key()) << key << value.value();
}

void TestSettings::hostileValue()
{
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, value);
    QMap<QByteArray, QByteArray> values = goodValues;
    values[key] = value;
    PluginFixture host(LIBRARY_FILE);
    writeStore(storeOf(values));
    const qint64 before = residentKb();
    host.init();
    if (!sanitized)
        QVERIFY(residentKb() - before < ordinaryKb);

    if (key != "host")
        QCOMPARE(host.widget<QLineEdit>("host")->text(), QString("sem.example"));
    if (key != "port")
        QCOMPARE(host.widget<QSpinBox>("port")->value(), 8311);
    if (key != "display")
        QVERIFY(host.widget<QRadioButton>("displayLive")->isChecked());
    // Size and dwell time are replaced together when the frame would take too long.
    const bool scanIsGood = key != "imageSize" && key != "dwelltime";
    if (scanIsGood) {
        QCOMPARE(host.widget<QComboBox>("imageSize")->currentText(), QString("768x768"));
        QCOMPARE(host.widget<QComboBox>("dwellTime")->currentText(), QString("1000ns"));
    }
    if (key != "alignMap")
        QVERIFY(hasAlignment(host, "good") && hasAlignment(host, "best"));

    FakeMicroscope microscope;
    QVERIFY(host.connectTo(microscope));
    if (key != "display") {
        SPIN_VERIFY(microscope.commands().join(' ').contains("ScScanXY"));
        if (key != "detector")
            QVERIFY(microscope.commands().contains("DtSelect 0 1"));
        const QString scan = microscope.commands().last();
        if (scanIsGood)
            QCOMPARE(scan, QString("ScScanXY[9] 0 768 768 0 0 767 767 0 1000"));
        const int edge = scan.section(' ', 2, 2).toInt();
        QVERIFY(edge > 0 && host.plugin->getImage().size() == QSize(edge, edge));
    }
    // Unchanged, so written back as they were.
    host.destroy();
    if (key != "alignMap")
        QCOMPARE(storedAlignments(),
                 QStringList({ "best" + points, "good;-1;0;1;0;1000000;0;0;0" }));
}

void TestSettings::hostileAlignments()
{
    PluginFixture host(LIBRARY_FILE);
    for (const QString &bad :
         { QString(), QString("name"), QString(";;;;;;;;"), QString("bad;a;b;c;d;e;f;g;h"),
           QString("bad;nan;inf;-inf;1e999;nan;inf;-inf;0"), QString("bad") + ";0;0;0;0;0;0;0;0",
           QString("bad;1e308;-1e308;1e308;1e308;-1e308;1e308;1;1"),
           "bad" + QString(";1").repeated(100000), QString(QChar(0)) + QChar(0xD800) + points }) {
        host.destroy();
        writeStore(QByteArray());
        QSettings().setValue("tescan/alignMap",
                             QStringList({ "abc" + points, bad, "xyz" + points }));
        host.create();
        host.events.clear();
        FakeMicroscope microscope;
        QVERIFY(host.place(&microscope));
        host.plugin->getDesignName(bad.section(';', 0, 0));
        for (const char *button : { "align1", "align2", "align2", "stageToView" })
            host.click(button);
        for (const double value : host.values)
            QVERIFY2(qIsFinite(value), qPrintable(bad.left(80)));
        restart(&host);
        QVERIFY2(hasAlignment(host, "abc") && hasAlignment(host, "xyz"), qPrintable(bad.left(80)));
    }
}

/// Qt cannot read the section any more, nor write the file; that is all that is lost.
void TestSettings::valueBeyondMemory()
{
    PluginFixture host(LIBRARY_FILE);
    QMap<QByteArray, QByteArray> values = goodValues;
    values["alignMap"] = "@Variant(\\0\\0\\0\\t\\xf\\xff\\xff\\xff)"; // a list
    writeStore(storeOf(values));
    const QByteArray fileName = QSettings().fileName().toLocal8Bit();
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    StandardOutput output;
    host.destroy();
    QCOMPARE(output.text(), "settings could not be written to " + fileName + '\n');
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), storeOf(values));
    microscope.forget();
    host.create();
    QVERIFY(host.place(&microscope));
}

void TestSettings::largestFrame()
{
    PluginFixture host(LIBRARY_FILE);
    const QMap<int, int> edges = { { 8192, 8192 }, { 8193, 512 }, { 2147483647, 512 } };
    for (const int stored : edges.keys()) {
        writeStore("[tescan]\ndwelltime=0\ndisplay=0\nimageSize=" + QByteArray::number(stored));
        host.destroy();
        const qint64 before = residentKb();
        restart(&host);
        QCOMPARE(host.plugin->getImage().width(), edges[stored]);
        if (!sanitized)
            QVERIFY(residentKb() - before < largestFrameKb + ordinaryKb);
    }
}

void TestSettings::namesInAllScripts()
{
    const QStringList scripts = { "chip", "芯片", "תוכנית", "رقاقة", "𝒞𝒽𝒾𝓅", "e\u0301" };
    const QStringList odd = { ",", "\"", "\\", "=", "[x]", "\n", "%41", "@Variant(", " " };
    QStringList expected;
    for (const QString &script : scripts)
        for (const QString &suffix : odd)
            expected << script + suffix + points;
    PluginFixture host(LIBRARY_FILE);
    writeStore(QByteArray());
    QSettings().setValue("tescan/alignMap", expected);
    FakeMicroscope microscope;
    for (int i = 0; i < 3; ++i) {
        restart(&host);
        for (const QString &entry : expected)
            QVERIFY2(hasAlignment(host, entry.section(';', 0, 0)), qPrintable(entry));
        QVERIFY(host.connectTo(microscope));
        host.destroy();
        QCOMPARE(storedAlignments().toSet(), expected.toSet());
    }
}

void TestSettings::unwritableStore()
{
    PluginFixture host(LIBRARY_FILE);
    QTemporaryFile file;
    QVERIFY(file.open());
    // Below a file there is no folder, not even for the superuser.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file.fileName());
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    StandardOutput output;
    host.destroy();
    QCOMPARE(output.text(),
             "settings could not be written to " + QSettings().fileName().toLocal8Bit() + '\n');
    SPIN_VERIFY(microscope.control->state() == QAbstractSocket::UnconnectedState
                && microscope.data->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(QFileInfo(file).size(), qint64(0));
    host.create();
    microscope.forget();
    QVERIFY(host.place(&microscope));
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
