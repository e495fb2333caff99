// The settings store: any file in its place, read by init() and written back by a connected plugin.

#include "fuzz/driver.h"
#include "plugin/backgroundsem.h"
#include "sem/tescan.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include <new>

namespace {
/// Puts a file in the place of the store. Every run has its own: Qt remembers stores by their
/// names.
void replaceStore(const QByteArray &content)
{
    static const QTemporaryDir folder;
    static int runs = 0;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
    QDir(folder.path()).mkpath("f");
    QCoreApplication::setOrganizationName("f");
    QFile::remove(QSettings().fileName());
    QCoreApplication::setApplicationName(QString::number(++runs));
    QFile file(QSettings().fileName());
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the file");
}

/// Empty for a file on which Qt itself gives up; the plugin has to live with it.
QVariant value(const char *key)
{
    try {
        return QSettings().value(key);
    } catch (const std::bad_alloc &) {
        return QVariant();
    }
}

QStringList alignments()
{
    return value("tescan/alignMap").toStringList();
}

void runPlugin()
{
    backgroundSEM plugin;
    plugin.init();
    require(!plugin.getImage().isNull(), "a usable frame size");
    for (const QString &entry : alignments().mid(0, 8))
        plugin.getDesignName(entry.section(';', 0, 0));
    plugin.sem->linkState = tescan::LinkUp;
}
} // namespace

void fuzzOne(Input &input)
{
    replaceStore(input.rest());
    // A frame as large as its limit is no finding, but too slow to make every time.
    if (value("tescan/imageSize").toInt() > 2048)
        return;
    runPlugin();
    const QStringList written = alignments();
    if (written.size() > 100) // which is thinned each time
        return;
    runPlugin();
    require(alignments() == written, "what was written once is written again");
}
