// The library as a plugin loader sees it: the file, its one object, and that it can be unloaded.

#include "tests/pluginfixture.h"

#include <QLibrary>
#include <QMetaMethod>
#include <QProcess>
#include <QtTest>

namespace {
const char *const entryPoint = "qt_plugin_query_verification_data";

QByteArray run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}
} // namespace

class TestLibrary : public QObject {
    Q_OBJECT

private slots:
    void object();
    void libraryFile();
    void unloadedWhileConnected();
};

void TestLibrary::object()
{
    PluginFixture host;
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
    QObject *object = host.object;
    QCOMPARE(object->qt_metacast("backgroundPlugIn"), static_cast<void *>(host.plugin));
    QCOMPARE(object->qt_metacast("com.omrandel.Quillmap.backgroundPlugIn/1.1"),
             static_cast<void *>(host.plugin));
    QCOMPARE(object->qt_metacast("com.omrandel.Quillmap.backgroundPlugIn/1.0"), nullptr);

    // One object as long as it lives, then another.
    QPluginLoader again(LIBRARY_FILE);
    QCOMPARE(again.instance(), object);
    again.unload();
    host.restart();
    QCOMPARE(host.plugin->getName(), QString("TeScan SEM"));
}

void TestLibrary::libraryFile()
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

void TestLibrary::unloadedWhileConnected()
{
    PluginFixture host({ { "display", 0 } });
    QVERIFY(host.place());
    const QImage kept = host.plugin->getImage();
    host.microscope.scan(wire::scanData(0, QByteArray(1000, 'x')));
    QVERIFY(host.loader.unload());
    QVERIFY(!host.object && !host.panel);
    QFile maps("/proc/self/maps");
    QVERIFY(maps.open(QIODevice::ReadOnly));
    QVERIFY(!maps.readAll().contains("backgroundSEM"));
    SPIN_VERIFY(host.microscope.isAlone());
    QCOMPARE(kept.pixel(0, 0), 0xFF646464);
    QCOMPARE(QSettings().value("tescan/port").toInt(), int(host.microscope.port()));
    host.create();
    QVERIFY(host.plugin);
}

QTEST_MAIN(TestLibrary)
#include "tst_library.moc"
