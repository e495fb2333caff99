// What is remembered between two runs: scan parameters, the microscope's address, the display mode,
// and the alignment of every design.

#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"
#include "sem/tescan.h"

#include <QSettings>
#include <QStringList>

#include <cstdio>
#include <new>

namespace {
const int defaultScanSize = 512;
const int defaultDwellNs = 500;
const double maximumFrameSeconds = 3.0;
// A larger map is thinned when it is written.
const int wholeMapEntries = 100;
// Name and two pairs.
const int minimumFields = 9;

const char imageSizeKey[] = "tescan/imageSize";
const char portKey[] = "tescan/port";
const char hostKey[] = "tescan/host";
const char detectorKey[] = "tescan/detector";
const char dwellKey[] = "tescan/dwelltime";
const char displayKey[] = "tescan/display";
const char alignMapKey[] = "tescan/alignMap";

/// A rotten value may announce billions of elements. Qt then asks for the memory and throws,
/// whichever of the section's values it was asked for.
QVariant stored(const QSettings &settings, const char *key, const QVariant &defaultValue)
{
    try {
        return settings.value(QLatin1String(key), defaultValue);
    } catch (const std::bad_alloc &) {
        return defaultValue;
    }
}

/// Whether all of the file can be read. Writing reads it first, and a value that was set and could
/// not be written would have every later QSettings of the process fail.
bool isReadable(const QSettings &settings)
{
    try {
        settings.allKeys();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

int readInt(const QSettings &settings, const char *key, int defaultValue)
{
    return stored(settings, key, defaultValue).toInt();
}

void selectContaining(QComboBox *list, const QString &text)
{
    const int index = list->findData(text, Qt::DisplayRole, Qt::MatchContains);
    if (index >= 0)
        list->setCurrentIndex(index);
}

/// In Qt 4 QString's own conversion would ask the user's locale first.
double toNumber(const QString &text)
{
    return text.trimmed().toLatin1().toDouble();
}

QString number(double value)
{
    return QString::number(value, 'g', 10);
}

QString entryText(const QString &name, const QPolygonF &points)
{
    QString text = name;
    for (int i = 0; i < points.size(); ++i)
        text += QLatin1Char(';') + number(points.at(i).x()) + QLatin1Char(';')
            + number(points.at(i).y());
    return text;
}

QStringList entryTexts(const QMap<QString, QPolygonF> &alignments)
{
    QStringList texts;
    const int step = alignments.size() > wholeMapEntries ? 2 : 1;
    int index = 0;
    QMap<QString, QPolygonF>::const_iterator entry = alignments.constBegin();
    for (; entry != alignments.constEnd(); ++entry, ++index)
        // Nothing escapes a semicolon: such an entry would come back as that of another design.
        if (index % step == 0 && !entry.key().contains(QLatin1Char(';')))
            texts.append(entryText(entry.key(), entry.value()));
    return texts;
}
} // namespace

/// Reads what the link is built from, and the rest that needs no panel; returns the frame's edge.
int backgroundSEM::restoreScan(QSettings &settings, int *dwellNs, int *detector)
{
    *detector = readInt(settings, detectorKey, 0);
    *dwellNs = readInt(settings, dwellKey, defaultDwellNs);
    int scanSize = readInt(settings, imageSizeKey, defaultScanSize);
    displayMode = readInt(settings, displayKey, DisplayCross);
    restoreAlignments(settings);
    if (scanSize < 1 || scanSize > tescan::maximumScanSize)
        scanSize = defaultScanSize;
    if (double(*dwellNs) * scanSize * scanSize / 1e9 > maximumFrameSeconds) {
        scanSize = defaultScanSize;
        *dwellNs = defaultDwellNs;
    }
    return scanSize;
}

void backgroundSEM::restoreAlignments(const QSettings &settings)
{
    const QStringList entries = stored(settings, alignMapKey, QVariant()).toStringList();
    for (int entry = 0; entry < entries.size(); ++entry) {
        const QStringList fields = entries.at(entry).split(QLatin1Char(';'));
        if (fields.size() < minimumFields)
            continue;
        QPolygonF points;
        for (int i = 2; i < fields.size(); i += 2)
            points.append(QPointF(toNumber(fields.at(i - 1)), toNumber(fields.at(i))));
        alignMap.insert(fields.at(0), points);
    }
}

void backgroundSEM::restorePanel(QSettings &settings, int dwellNs, int scanSize)
{
    const int port = readInt(settings, portKey, 8300);
    panel->host->setText(stored(settings, hostKey, QLatin1String("127.0.0.1")).toString());
    panel->port->setValue(port);
    selectContaining(panel->dwellTime, QString::number(dwellNs) + QLatin1String("ns"));
    selectContaining(panel->imageSize, QString::number(scanSize) + QLatin1Char('x'));
}

void backgroundSEM::save()
{
    QSettings settings;
    const struct {
        const char *key;
        QVariant value;
    } values[] = {
        { imageSizeKey, sem->scanSize },
        { portKey, sem->semPort },
        { hostKey, sem->semHost },
        { detectorKey, sem->detectorIndex },
        { dwellKey, sem->dwellNs },
        { displayKey, displayMode },
        { alignMapKey, entryTexts(alignMap) },
    };
    const bool readable = isReadable(settings);
    for (size_t i = 0; readable && i < sizeof values / sizeof values[0]; ++i)
        settings.setValue(QLatin1String(values[i].key), values[i].value);
    settings.sync();
    if (!readable || settings.status() != QSettings::NoError) {
        std::printf("settings could not be written to %s\n",
                    settings.fileName().toLocal8Bit().constData());
        std::fflush(stdout);
    }
}
