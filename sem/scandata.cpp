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
const int maximumMessage =
    headerSize + runOffset + tescan::maximumScanSize * tescan::maximumScanSize;
const int readPauseMs = 4;

bool isScanData(const char *header)
{
    return qstrncmp(header, "ScData", nameSize) == 0;
}
} // namespace

void tescan::readData()
{
    // Small messages come by the ten thousand a second: they are taken together, as long as nobody
    // can see the delay.
    if (m_handlingData || (sender() == dataSocket && m_readPause.isActive()))
        return;
    if (dataSocket->state() != QAbstractSocket::ConnectedState && dataSocket->bytesAvailable() == 0)
        return;
    const Handover handler(&m_handler);
    const QPointer<tescan> alive(this);
    m_readPause.start(readPauseMs);
    const int count = receive(dataSocket, &dataBuffer, readBytes, &m_skipData);
    if (count == readBytes)
        m_readPause.start(0);
    else if (count <= 0)
        m_readPause.stop();
    if (count < 0)
        dataEnded();
    else if (count > 0 && dataBuffer.size() > headerSize)
        processData();
    // While a handler ran an event loop of its own, the socket announced nothing.
    if (alive && count != 0 && !m_readPause.isActive())
        m_readPause.start(0);
}

/// A socket without a buffer leaves it to its reader to notice that the other end has closed.
void tescan::dataEnded()
{
    if (dataSocket->state() == QAbstractSocket::UnconnectedState)
        disconnected();
    else
        dataSocket->disconnectFromHost();
}

void tescan::processData()
{
    const QPointer<tescan> alive(this);
    m_handlingData = true;
    int written = processMessages();
    // Hosts fetch the image on each of these: they get all pixels of this read at the first one.
    for (; written > 0 && alive; --written)
        emit imageChanged();
    if (alive)
        m_handlingData = false;
}

/// Places all complete messages and returns their number; they leave the buffer at once, however
/// many they are.
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
            // A receiver that connected again emptied the buffer, and this message is not written.
            const bool same = attempt == m_attempt;
            start = same ? start + int(length) : 0;
            written += same ? 1 : 0;
            attempt = m_attempt;
        } else {
            if (!known || m_skipData > 0) {
                rejectData(start);
                start = dataBuffer.size();
            }
            break;
        }
    }
    m_frames.finish(&dataBuffer, start);
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
    const int count = length - headerSize - runOffset;
    if (count < 0)
        return; // it ends before its pixels would begin
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
    if (scanSize < 1 || count == 0)
        return;
    writePixels(pos, count);
}

/// The pixels are the `count` bytes of the data buffer from `pos` on.
void tescan::writePixels(int pos, int count)
{
    m_frames.makeWritable(&image);
    while (count > 0) {
        // A place below the frame is skipped, and the run goes on from the top. In a frame of one
        // pixel the row is the whole index: beyond what an int holds it is negative.
        const bool below = unsigned(pixelRow) >= unsigned(scanSize);
        const int run = below ? 1 : qMin(count, scanSize - pixelColumn);
        if (!below && pixelRow < image.height()) {
            const int first = pixelRow * image.width() + pixelColumn;
            const int drawn = qMin(run, image.width() - pixelColumn);
            m_frames.write(&image, first, drawn, dataBuffer, pos);
        }
        pos += run;
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
