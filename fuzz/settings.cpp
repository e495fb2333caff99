// The settings store: any file in its place, read by init() and written back by a connected plugin.

#include "fuzz/driver.h"
#include "fuzz/pluginlink.h"
#include "plugin/backgroundsem.h"
#include "sem/tescan.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStringList>

#include <new>

namespace {
const char alignMapKey[] = "tescan/alignMap";
const int wholeMapEntries = 100;

/// Puts a file in the place of the store. Every run has its own: Qt remembers stores by their
/// names.
void replaceStore(const QByteArray &content)
{
    static int runs = 0;
    QFile::remove(QSettings().fileName());
    QCoreApplication::setApplicationName(QString::number(++runs));
    QFile file(QSettings().fileName());
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
            "scratch file");
}

void prepareScratch()
{
    QCoreApplication::setOrganizationName("f");
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, scratchFolder());
    QDir().mkpath(scratchFolder() + "/f");
}

/// False for a file on which Qt itself gives up; then nothing is expected but that the plugin
/// lives.
bool isReadable()
{
    try {
        QSettings().value(alignMapKey);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

QStringList alignments()
{
    return isReadable() ? QSettings().value(alignMapKey).toStringList() : QStringList();
}

void runPlugin()
{
    backgroundSEM plugin;
    plugin.init();
    tescan *link = linkOf(plugin);
    require(link->scanSize >= 1 && link->scanSize <= tescan::maximumScanSize,
            "a usable frame size");
    for (const QString &entry : alignments().mid(0, 8))
        plugin.getDesignName(entry.section(';', 0, 0));
    link->linkState = tescan::LinkUp;
}
} // namespace

void fuzzOne(Input &input)
{
    static const bool prepared = (prepareScratch(), true);
    Q_UNUSED(prepared);
    replaceStore(input.rest());
    // A frame as large as its limit is no finding, but too slow to make every time.
    if (isReadable() && QSettings().value("tescan/imageSize").toInt() > 2048)
        return;
    runPlugin();
    const QStringList written = alignments();
    if (written.size() > wholeMapEntries)
        return;
    runPlugin();
    require(alignments() == written, "what was written once is written again");
}
