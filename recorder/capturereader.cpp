#include "recorder/capturereader.h"

#include "recorder/packet.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <zlib.h>

namespace capture {
namespace {

ssize_t readStream(void *file, char *bytes, size_t count)
{
    return gzread(static_cast<gzFile>(file), bytes, unsigned(count));
}

int closeStream(void *file)
{
    return gzclose(static_cast<gzFile>(file));
}

// zlib hands on what is not compressed as it is.
std::FILE *openStream(const QString &file)
{
    const gzFile compressed = gzopen(QFile::encodeName(file).constData(), "rb");
    if (!compressed)
        return nullptr;
    cookie_io_functions_t functions = {};
    functions.read = readStream;
    functions.close = closeStream;
    return fopencookie(compressed, "rb", functions);
}

// Damaged files hold any time; differences of those that are let through do not overflow.
qint64 timeOf(const pcap_pkthdr &header)
{
    const qint64 latestSecond = 0xFFFFFFFF, latestNs = 999999999;
    return qBound<qint64>(0, header.ts.tv_sec, latestSecond) * 1000000000
        + qBound<qint64>(0, header.ts.tv_usec, latestNs);
}

} // namespace

bool CaptureReader::open(const QString &file, QString *error)
{
    errno = 0;
    std::FILE *stream = openStream(file);
    if (!stream) {
        *error = QStringLiteral("cannot read %1: %2").arg(file, std::strerror(errno));
        return false;
    }
    char reason[PCAP_ERRBUF_SIZE] = {};
    m_handle.reset(
        pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, reason));
    if (!m_handle) {
        std::fclose(stream);
        *error = QStringLiteral("%1 is no capture: %2").arg(file, reason);
        return false;
    }
    m_linkType = pcap_datalink(m_handle.get());
    if (isKnownLinkType(m_linkType))
        return true;
    const char *name = pcap_datalink_val_to_description(m_linkType);
    *error = QStringLiteral("%1 holds packets of an unknown kind: %2")
                 .arg(file, name ? QString(name) : QString::number(m_linkType));
    return false;
}

bool CaptureReader::next(Segment *segment)
{
    pcap_pkthdr *header = nullptr;
    const u_char *bytes = nullptr;
    int result;
    while ((result = pcap_next_ex(m_handle.get(), &header, &bytes)) == 1) {
        const auto packet =
            QByteArray::fromRawData(reinterpret_cast<const char *>(bytes), int(header->caplen));
        const Decoded decoded = decodePacket(m_linkType, packet, header->len, segment);
        if (decoded != Decoded::Tcp) {
            ++m_leftOut[int(decoded)];
            continue;
        }
        segment->timeNs = timeOf(*header);
        return true;
    }
    if (result == PCAP_ERROR)
        m_end = pcap_geterr(m_handle.get());
    return false;
}

QStringList CaptureReader::remarks() const
{
    const char *const reasons[] = { nullptr, "packets of other protocols left out",
                                    "fragments of packets left out",
                                    "packets left out that were captured without their headers" };
    QStringList remarks;
    for (int i = 1; i < 4; ++i)
        if (m_leftOut[i] > 0)
            remarks.append(QStringLiteral("%1: %2").arg(reasons[i]).arg(m_leftOut[i]));
    if (!m_end.isEmpty())
        remarks.append(QStringLiteral("left out what follows in the file: %1").arg(m_end));
    return remarks;
}

} // namespace capture
