#include "recorder/capturewriter.h"

#include "recorder/packet.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace capture {
namespace {

const int snapBytes = 262144;

} // namespace

bool CaptureWriter::open(const QString &file, const FileLimits &limits, QString *error)
{
    m_name = file;
    m_limits = limits;
    m_handle.reset(
        pcap_open_dead_with_tstamp_precision(DLT_EN10MB, snapBytes, PCAP_TSTAMP_PRECISION_NANO));
    const QVector<int> there = limits.fileBytes > 0 ? numbersThere() : QVector<int>();
    m_number = there.isEmpty() ? 0 : *std::max_element(there.begin(), there.end());
    return openNext(error);
}

/// Of the files that are there already.
QVector<int> CaptureWriter::numbersThere() const
{
    const QFileInfo info(nameOf(0));
    const int numberAt = info.fileName().lastIndexOf("-0000") + 1;
    QVector<int> numbers;
    for (const QString &name : info.dir().entryList(QDir::Files)) {
        const int digits = name.size() - (info.fileName().size() - 4);
        const int number = name.mid(numberAt, digits).toInt();
        if (number > 0 && QFileInfo(nameOf(number)).fileName() == name)
            numbers.append(number);
    }
    return numbers;
}

QString CaptureWriter::nameOf(int number) const
{
    if (m_limits.fileBytes == 0)
        return m_name;
    const int suffixAt = m_name.lastIndexOf('.');
    const int at = suffixAt > m_name.lastIndexOf('/') + 1 ? suffixAt : m_name.size();
    return QString(m_name).insert(at, QStringLiteral("-%1").arg(number, 4, 10, QChar('0')));
}

bool CaptureWriter::openNext(QString *error)
{
    const QString name = nameOf(++m_number);
    m_file.reset();
    const QFileInfo info(name);
    if (info.exists() && !info.isFile() ? info.isDir() : info.size() > 0) {
        *error = QStringLiteral("%1 is there already").arg(name);
        return false;
    }
    std::FILE *stream = std::fopen(QFile::encodeName(name).constData(), "wb");
    if (stream)
        m_file.reset(pcap_dump_fopen(m_handle.get(), stream));
    if (!m_file) {
        *error = QStringLiteral("cannot write %1: %2")
                     .arg(name, stream ? pcap_geterr(m_handle.get()) : std::strerror(errno));
        return false;
    }
    m_flushedBytes = 0;
    const QVector<int> there = m_limits.files > 0 ? numbersThere() : QVector<int>();
    for (int number : there)
        if (number <= m_number - m_limits.files)
            QFile::remove(nameOf(number));
    return true;
}

void CaptureWriter::write(const Segment &segment, int keptBytes)
{
    if (!m_file)
        return;
    const QByteArray frame = encodeFrame(segment, keptBytes);
    pcap_pkthdr header = {};
    header.ts.tv_sec = segment.timeNs / 1000000000;
    header.ts.tv_usec = segment.timeNs % 1000000000; // the file counts in nanoseconds
    header.caplen = bpf_u_int32(frame.size());
    header.len = bpf_u_int32(frame.size() - keptBytes + segment.bytes.size());
    pcap_dump(reinterpret_cast<u_char *>(m_file.get()), &header,
              reinterpret_cast<const u_char *>(frame.constData()));
    ++m_packets;
}

bool CaptureWriter::flush(QString *error)
{
    if (!m_file)
        return true;
    std::FILE *stream = pcap_dump_file(m_file.get());
    if (pcap_dump_flush(m_file.get()) != 0 || std::ferror(stream)) {
        *error = QStringLiteral("cannot write %1: %2").arg(nameOf(m_number), std::strerror(errno));
        const int descriptor = dup(fileno(stream));
        m_file.reset(); // tries once more to write what it still holds
        if (ftruncate(descriptor, m_flushedBytes) != 0)
            errno = 0; // no file on a disk
        ::close(descriptor);
        return false;
    }
    m_flushedBytes = pcap_dump_ftell64(m_file.get());
    return m_limits.fileBytes == 0 || m_flushedBytes < m_limits.fileBytes || openNext(error);
}

} // namespace capture
