// The minimal host with the real library and the simulated microscope, as programs.
#include <QBitmap>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class TestMinimalHost : public QObject {
    Q_OBJECT
private slots:
    void guideQuotesIt();
    void otherFilesAreRefused();
    void imageLiesBehindTheDesign_data();
    void imageLiesBehindTheDesign();
};

// Whoever copies code out of the host writer's guide gets code that is built and run here.
void TestMinimalHost::guideQuotesIt()
{
    QStringList texts;
    for (const char *name :
         { "docs/hosts.md", "examples/minimal-host/main.cpp", "plugin/backgroundplugin.h" }) {
        QFile file(QStringLiteral(SOURCE_FOLDER "/") + name);
        QVERIFY2(file.open(QIODevice::ReadOnly), name);
        texts << file.readAll();
    }
    const QString code = texts.at(1).simplified() + texts.at(2).simplified();
    const QStringList parts = texts.first().split("```cpp\n");
    QVERIFY(parts.size() > 1);
    for (const QString &part : parts.mid(1)) {
        const QString quoted = part.section("```", 0, 0).simplified();
        QVERIFY2(code.contains(quoted), qPrintable(quoted));
    }
}

void TestMinimalHost::otherFilesAreRefused()
{
    const QString plugins = QLibraryInfo::location(QLibraryInfo::PluginsPath);
    for (const QString &file : { QString("missing.so"), QString(SAMPLE_LAYOUT),
                                 plugins + "/platforms/libqoffscreen.so" }) {
        QProcess host;
        host.start(HOST_FILE, { file });
        QVERIFY(host.waitForFinished(60000));
        QCOMPARE(host.exitCode(), 1);
        QVERIFY(host.readAllStandardError().contains("Cannot load '" + file.toUtf8()));
    }
}

// The second wafer lies elsewhere, which an alignment of an earlier run knows.
void TestMinimalHost::imageLiesBehindTheDesign_data()
{
    QTest::addColumn<QString>("alignment");
    QTest::newRow("0,0") << QString();
    QTest::newRow("0.1,-0.05") << "minimal-chip;10000;-5000;0;0;110000;75000;-1;-0.8";
}

static int brightness(const QImage &picture, const QPointF &centre)
{
    const QImage part = picture.copy(QRect(centre.toPoint() - QPoint(2, 2), QSize(5, 5)));
    return qGray(part.scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).pixel(0, 0));
}

// The chip's pads are brighter than what is round them up to their yellow outlines, but for the
// wire in the middle of a side.
static void checkPads(const QImage &picture)
{
    const QImage outlines = picture.createMaskFromColor(qRgb(255, 255, 0), Qt::MaskOutColor);
    const QRect chip = QRegion(QBitmap::fromImage(outlines)).boundingRect();
    const double pixelsPerUm = chip.width() / 2000.0, reach = 45 * pixelsPerUm; // half a pad
    for (const QPoint &um : { QPoint(415, 95), QPoint(95, 405), QPoint(1905, 1185) }) {
        const QPointF pad = chip.bottomLeft() + QPointF(um.x(), -um.y()) * pixelsPerUm;
        for (const QPoint &out : { QPoint(1, 0), QPoint(0, 1), QPoint(-1, 0), QPoint(0, -1) }) {
            const QPointF edge = pad + out * reach + QPointF(out.y(), out.x()) * reach / 2;
            QVERIFY(brightness(picture, edge - 4 * out) > brightness(picture, edge + 4 * out) + 50);
        }
    }
}

void TestMinimalHost::imageLiesBehindTheDesign()
{
    QFETCH(QString, alignment);
    QProcess simulator, host;
    simulator.start(SIMULATOR_FILE,
                    QString("--port 0 --fast --rows-per-message 512 --view-field 2.4").split(' ')
                        << "--design" << SAMPLE_LAYOUT << "--offset" << QTest::currentDataTag());
    QString port;
    while (port.isEmpty() && simulator.waitForReadyRead(60000))
        port = QRegularExpression("control port (\\d+),").match(simulator.readAll()).captured(1);
    const QTemporaryDir folder;
    QSettings settings(folder.filePath("example/minimal-host.conf"), QSettings::IniFormat);
    settings.setValue("tescan/port", port);
    settings.setValue("tescan/display", 0);
    settings.setValue("tescan/alignMap", alignment);
    settings.sync();
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(folder.path()));
    host.start(HOST_FILE, { LIBRARY_FILE, folder.filePath("picture.png") });
    QVERIFY(host.waitForFinished(120000));
    simulator.kill();
    simulator.waitForFinished();
    QVERIFY2(host.exitCode() == 0, host.readAllStandardError());
    checkPads(QImage(folder.filePath("picture.png")));
    settings.sync();
    QVERIFY(settings.contains("tescan/detector")); // written when the plugin ends
}

QTEST_MAIN(TestMinimalHost)
#include "tst_minimalhost.moc"
