// The receive path of the data channel: messages of grey pixels that are written into the live
// frame.

#include "sem/messageheader.h"
#include "sem/tescan.h"

#include <QPointer>

#include <cstdio>

namespace {
// A run of pixels follows five integers.
const int runOffset = 20;
// The largest frame that can be scanned in one message.
const int maximumMessage = headerSize + runOffset + 8192 * 8192;

bool isScanData(const char *header)
{
    return qstrncmp(header, "ScData", nameSize) == 0;
}

void expandGrey(const uchar *grey, int count, quint32 *pixels)
{
    for (int i = 0; i < count; ++i) {
        const quint32 g = grey[i];
        pixels[i] = 0xFF000000u | g << 16 | g << 8 | g;
    }
}
} // namespace

void tescan::readData()
{
    const Handover handler(&m_handler);
    const QPointer<tescan> alive(this);
    while (alive && receive(dataSocket, &dataBuffer, &m_skipData))
        if (dataBuffer.size() > headerSize && !m_handlingData)
            processData();
}

void tescan::processData()
{
    const QPointer<tescan> alive(this);
    m_handlingData = true;
    int written = processMessages();
    if (!alive)
        return;
    m_handlingData = false;
    // Hosts fetch the image on each of these: they get all pixels of this read at the first one.
    for (; written > 0 && alive; --written)
        emit imageChanged();
}

/// Places all complete messages and returns their number; what it consumed leaves the buffer in one
/// move, however many messages that was.
int tescan::processMessages()
{
    const QPointer<tescan> alive(this);
    int attempt = m_attempt;
    int start = 0;
    int written = 0;
    while (dataBuffer.size() - start > headerSize) {
        int pos = start + bodySizeOffset;
        const qint64 length = headerSize + qint64(getUint32Data(&pos));
        const bool known = isScanData(dataBuffer.constData() + start);
        if (known && complete(&dataBuffer, start, length, maximumMessage, &m_skipData)) {
            placeScanData(start, int(length));
            if (!alive)
                return 0;
            // A receiver that connected again emptied the buffer.
            start = attempt == m_attempt ? start + int(length) : 0;
            attempt = m_attempt;
            ++written;
        } else {
            if (!known || m_skipData > 0) {
                rejectData(start);
                start = dataBuffer.size();
            }
            break;
        }
    }
    dataBuffer.remove(0, start);
    return written;
}

void tescan::rejectData(int start)
{
    const char *header = dataBuffer.constData() + start;
    for (int i = 0; i < headerSize; ++i)
        std::printf("%d: %d %c\n", i, static_cast<signed char>(header[i]), header[i]);
    std::printf("command data %s\n", messageName(dataBuffer, start).toLatin1().constData());
    std::fflush(stdout);
}

void tescan::placeScanData(int start, int length)
{
    int pos = start + headerSize;
    getUint32Data(&pos);
    getInt32Data(&pos);
    const unsigned int index = getUint32Data(&pos);
    getInt32Data(&pos);
    getUint32Data(&pos);
    if (scanSize > 0) {
        pixelColumn = int(index % unsigned(scanSize));
        pixelRow = int(index / unsigned(scanSize));
    }
    if (index == 0) {
        headerFlags = 0;
        const int attempt = m_attempt;
        if (scanning && (!tell("scanning...") || attempt != m_attempt))
            return;
    }
    const int count = length - headerSize - runOffset;
    if (scanSize < 1 || count <= 0)
        return;
    writePixels(reinterpret_cast<const uchar *>(dataBuffer.constData()) + pos, count);
}

void tescan::writePixels(const uchar *grey, int count)
{
    m_frames.makeWritable(&image);
    quint32 *frame = reinterpret_cast<quint32 *>(image.bits());
    while (count > 0) {
        // A place below the frame is skipped, and the run goes on from the top. In a frame of one
        // pixel the row is the whole index: beyond what an int holds it is negative.
        const bool below = unsigned(pixelRow) >= unsigned(scanSize);
        const int run = below ? 1 : qMin(count, scanSize - pixelColumn);
        if (!below && pixelRow < image.height()) {
            const int first = pixelRow * image.width() + pixelColumn;
            const int drawn = qMin(run, image.width() - pixelColumn);
            expandGrey(grey, drawn, frame + first);
            m_frames.written(first, drawn);
        }
        grey += run;
        count -= run;
        pixelColumn += run;
        if (pixelColumn == scanSize) {
            pixelColumn = 0;
            pixelRow += below ? 0 : 1;
        }
        if (unsigned(pixelRow) >= unsigned(scanSize))
            pixelRow = 0;
    }
}
