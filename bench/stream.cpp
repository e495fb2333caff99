#include "bench/stream.h"

#include <QtEndian>

#include <cstring>
#include <ctime>
#include <vector>

QByteArray scanMessage(int messagePixels, quint32 index)
{
    std::vector<uchar> bytes(size_t(runOffset) + messagePixels);
    memcpy(bytes.data(), "ScData", 6);
    qToLittleEndian(quint32(20 + messagePixels), bytes.data() + 16);
    qToLittleEndian(index, bytes.data() + 40);
    for (int i = 0; i < messagePixels; ++i)
        bytes[size_t(runOffset) + i] = uchar(i * 7 + index);
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), int(bytes.size()));
}

qint64 cpuNs()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}
