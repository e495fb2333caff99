#include "host/commandline.h"
#include "host/mainwindow.h"
#include "host/script.h"

#include <QApplication>
#include <QFileInfo>
#include <QSettings>
#include <QTextStream>

using namespace viewer;

static int fail(const QString &reason)
{
    QTextStream(stderr) << "layout-viewer: " << reason << Qt::endl;
    return 1;
}

// In a build tree the library is in ../lib; else it lies beside the program.
static QString usualPlugin()
{
    const QString folder = QCoreApplication::applicationDirPath();
    const QString usual = folder + "/../lib/libbackgroundSEM.so";
    return QFileInfo::exists(usual) ? QFileInfo(usual).canonicalFilePath()
                                    : folder + "/libbackgroundSEM.so";
}

// Before the plugin is loaded, which keeps its settings under the same names.
static void prepareSettings(const QString &folder)
{
    QCoreApplication::setOrganizationName("layout-viewer");
    QCoreApplication::setApplicationName("layout-viewer");
    if (folder.isEmpty())
        return;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder);
}

static bool prepareWindow(MainWindow *window, const Options &options, QString *error)
{
    if (!options.layoutFile.isEmpty() && !window->openDesign(options.layoutFile, error))
        return false;
    const QString plugin = options.pluginFile.isEmpty() ? usualPlugin() : options.pluginFile;
    if (!window->session()->load(plugin, error))
        return false;
    if (!options.isScripted())
        window->restoreSettings();
    if (!options.windowSize.isEmpty())
        window->resize(options.windowSize);
    return true;
}

int main(int argc, char **argv)
{
    std::vector<QByteArray> arguments = protectedArguments(argc, argv);
    std::vector<char *> pointers;
    for (QByteArray &argument : arguments)
        pointers.push_back(argument.data());
    int count = int(pointers.size());
    pointers.push_back(nullptr);
    QApplication application(count, pointers.data());
    Options options;
    QString error;
    if (!parseCommandLine(application.arguments(), &options, &error))
        return fail(error + " See layout-viewer --help.");
    if (options.showHelp) {
        QTextStream(stdout) << commandLineHelp();
        return 0;
    }
    prepareSettings(options.settingsFolder);
    MainWindow window;
    if (!prepareWindow(&window, options, &error))
        return fail(error);
    window.show();
    QCoreApplication::processEvents(); // lays the window out, so that the view has its size
    Script script(&window, options);
    if (!script.start(&error))
        return fail(error);
    const int code = application.exec();
    if (!options.isScripted())
        window.saveSettings();
    return code;
}
