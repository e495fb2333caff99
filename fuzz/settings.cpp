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

QStringList runPlugin()
{
    backgroundSEM plugin;
    plugin.init();
    tescan *link = linkOf(plugin);
    require(link->scanSize >= 1 && link->scanSize <= tescan::maximumScanSize,
            "a usable frame size");
    const QStringList stored = QSettings().value(alignMapKey).toStringList();
    for (const QString &entry : stored.mid(0, 8))
        plugin.getDesignName(entry.section(';', 0, 0));
    link->linkState = tescan::LinkUp;
    return stored;
}
} // namespace

void fuzzOne(Input &input)
{
    static const bool prepared = (prepareScratch(), true);
    Q_UNUSED(prepared);
    replaceStore(input.rest());
    // A frame as large as its limit is no finding, but too slow to make every time.
    if (QSettings().value("tescan/imageSize").toInt() > 2048)
        return;
    runPlugin();
    const QStringList written = QSettings().value(alignMapKey).toStringList();
    if (written.size() > wholeMapEntries)
        return;
    runPlugin();
    require(QSettings().value(alignMapKey).toStringList() == written,
            "what was written once is written again");
}
