#include "bench/floor.h"

#include <QtEndian>

#include <sys/socket.h>
#include <vector>

namespace {
void expand(const uchar *grey, int count, quint32 *pixels)
{
    for (int i = 0; i < count; ++i)
        pixels[i] = 0xFF000000u | grey[i] * 0x010101u;
}

// The bare minimum of a receiver: a header, then the run, cut wherever recv() happens to cut it.
class Receiver {
public:
    explicit Receiver(int frameSize)
        : m_frame(size_t(frameSize) * frameSize)
    {
    }

    void take(const uchar *bytes, int count)
    {
        while (count > 0) {
            const int used = m_left > 0 ? takePixels(bytes, count) : takeHeader(bytes, count);
            bytes += used;
            count -= used;
        }
    }

private:
    int takeHeader(const uchar *bytes, int count)
    {
        const int used = qMin(count, runOffset - m_headerBytes);
        memcpy(m_header + m_headerBytes, bytes, size_t(used));
        m_headerBytes += used;
        if (m_headerBytes == runOffset) {
            m_headerBytes = 0;
            m_left = qFromLittleEndian<int>(m_header + 16) - (runOffset - headerBytes);
            m_at = qFromLittleEndian<quint32>(m_header + 40);
        }
        return used;
    }

    int takePixels(const uchar *bytes, int count)
    {
        const int used = int(qMin<size_t>(size_t(qMin(count, m_left)), m_frame.size() - m_at));
        expand(bytes, used, m_frame.data() + m_at);
        m_left -= used;
        m_at = (m_at + size_t(used)) % m_frame.size();
        return used;
    }

    std::vector<quint32> m_frame;
    uchar m_header[runOffset];
    int m_headerBytes = 0;
    int m_left = 0;
    size_t m_at = 0;
};
} // namespace

qint64 runFloor(int socket, const Stream &stream)
{
    Receiver receiver(stream.frameSize);
    std::vector<uchar> buffer(256 * 1024);
    qint64 left = stream.messages() * (runOffset + stream.messagePixels);
    const qint64 start = cpuNs();
    while (left > 0) {
        const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return -1;
        receiver.take(buffer.data(), int(count));
        left -= count;
    }
    return cpuNs() - start;
}
