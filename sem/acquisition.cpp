// Starting, stopping and re-parameterising the scan.

#include "sem/tescan.h"

namespace {
// Header flags of the commands that set a scan going.
const unsigned char startFlags = 9;
const int bitsPerPixel = 8;

/// The number before the first `separator`, 0 if it is none; false if there is no separator.
bool leadingNumber(const QString &text, char separator, int *number)
{
    const int end = text.indexOf(QLatin1Char(separator));
    if (end < 0)
        return false;
    *number = text.left(end).trimmed().toInt();
    return true;
}
} // namespace

void tescan::connectedData()
{
    const Handover handler(&m_handler);
    linkState = LinkUp;
    if (!tell("connected"))
        return;
    TcpGetVersion();
    TcpGetSWVersion();
    if (!scanning)
        return;
    ScStopScan();
    selectDetector();
    headerFlags = startFlags;
    DtAutoSignal(0);
    scanFrame();
    tell("start scanning");
}

void tescan::startScan()
{
    headerFlags = 0;
    ScStopScan();
    scanning = true;
    selectDetector();
    headerFlags = startFlags;
    if (!tell("optimizing contrast"))
        return;
    DtAutoSignal(0);
    scanFrame();
    headerFlags = 0;
}

void tescan::stopScan()
{
    scanning = false;
    if (!tell("scanning stoped"))
        return;
    headerFlags = 0;
    ScStopScan();
}

void tescan::setDetector(QString text)
{
    int detector;
    if (!leadingNumber(text, '-', &detector) || detector == detectorIndex)
        return;
    detectorIndex = detector;
    if (!tell("set detector"))
        return;
    headerFlags = 0;
    DtGetGainBlack(0);
    ScStopScan();
    selectDetector();
    restartScan(true);
}

void tescan::setDewellTime(QString text)
{
    int dwell;
    if (!leadingNumber(text, 'n', &dwell) || dwell == dwellNs)
        return;
    if (!tell("adjust dwell"))
        return;
    dwellNs = dwell;
    headerFlags = 0;
    ScStopScan();
    restartScan(false);
}

void tescan::setImageSize(int size)
{
    if (size == scanSize || size < 1 || size > maximumScanSize)
        return;
    if (!tell("adjust size"))
        return;
    scanSize = size;
    headerFlags = 0;
    ScStopScan();
    createImage();
    restartScan(false);
}

void tescan::selectDetector()
{
    DtSelect(0, detectorIndex);
    DtEnable(0, 1, bitsPerPixel);
}

void tescan::restartScan(bool optimizeContrast)
{
    headerFlags = startFlags;
    if (!scanning)
        return;
    if (optimizeContrast)
        DtAutoSignal(0);
    scanFrame();
    headerFlags = 0;
}

void tescan::scanFrame()
{
    m_frames.prepare(image);
    const unsigned int size = unsigned(scanSize);
    ScScanXY(0, size, size, 0, 0, size - 1, size - 1, 0, unsigned(dwellNs));
}
