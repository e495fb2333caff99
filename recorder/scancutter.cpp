#include "recorder/scancutter.h"

#include "recorder/packet.h"

#include <QtEndian>

namespace capture {
namespace {

const int headerBytes = 32, nameBytes = 16, sizeOffset = 16;
const int pixelsOffset = 52; // of scan data, behind what says where they lie
const char scanName[nameBytes] = "ScData";

} // namespace

QVector<Part> ScanCutter::take(const QByteArray &bytes)
{
    QVector<Part> parts;
    for (int at = 0; at < bytes.size();) {
        if (m_keptPixels < 0)
            m_keepLeft = bytes.size();
        else if (m_headerLeft + m_keepLeft + m_dropLeft == 0)
            m_headerLeft = headerBytes;
        qint64 *const left = m_headerLeft > 0 ? &m_headerLeft
            : m_keepLeft > 0                  ? &m_keepLeft
                                              : &m_dropLeft;
        const qint64 room = largestPayload - m_part.bytes.size();
        const int count = int(qMin(qMin(*left, room), qint64(bytes.size() - at)));
        m_part.bytes.append(bytes.constData() + at, count);
        if (left != &m_dropLeft)
            m_part.keptBytes = m_part.bytes.size();
        at += count;
        *left -= count;
        if (left == &m_headerLeft && m_headerLeft == 0)
            readHeader();
        const bool complete = m_headerLeft + m_keepLeft + m_dropLeft == 0;
        if (complete || m_part.bytes.size() == largestPayload)
            parts += takeHeldBack();
    }
    const bool cutLater = m_headerLeft > 0 || (m_keepLeft > 0 && m_dropLeft > 0);
    return cutLater ? parts : parts + takeHeldBack();
}

QVector<Part> ScanCutter::takeHeldBack()
{
    if (m_part.bytes.isEmpty())
        return {};
    const QVector<Part> parts = { m_part };
    m_part = Part();
    return parts;
}

void ScanCutter::readHeader()
{
    const char *header = m_part.bytes.constData() + m_part.bytes.size() - headerBytes;
    const qint64 size = qFromLittleEndian<quint32>(header + sizeOffset);
    const bool isScan = memcmp(header, scanName, nameBytes) == 0;
    m_keepLeft = isScan ? qMin(size, pixelsOffset - headerBytes + m_keptPixels) : size;
    m_dropLeft = size - m_keepLeft;
}

} // namespace capture
