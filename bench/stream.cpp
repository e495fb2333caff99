#include "bench/stream.h"

#include <QtEndian>

#include <arpa/inet.h>
#include <cstring>
#include <ctime>
#include <sched.h>
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

sockaddr_in loopback(quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

qint64 cpuNs()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

void pinToCore(int core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}
