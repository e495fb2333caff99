#include "recorder/packet.h"

#include <QtEndian>

#include <pcap/pcap.h>

namespace capture {
namespace {

const quint16 etherIpv4 = 0x0800, etherIpv6 = 0x86DD, etherVlan = 0x8100, etherServiceVlan = 0x88A8;
const quint8 protocolTcp = 6;
const quint8 hopLimit = 64;
const quint16 dontFragment = 0x4000, fragmentMask = 0x3FFF; // offset and "more fragments"
const quint16 window = 65535;
const qint64 largestOffload = 1 << 20; // what a network card is given to cut into packets
// What an end says when it opens: segments as large as they come, windows times 128.
const char synOptions[] = { 2, 4, char(0xFF), char(0xD7), 1, 3, 3, 7 };

void append16(QByteArray *bytes, quint16 value)
{
    bytes->append(char(value >> 8)).append(char(value));
}

void append32(QByteArray *bytes, quint32 value)
{
    append16(bytes, quint16(value >> 16));
    append16(bytes, quint16(value));
}

// In the machine's byte order: the complement's sum is the same in either, turned round.
quint64 wordSum(const QByteArray &bytes)
{
    quint64 sum = 0;
    const char *at = bytes.constData(), *const end = at + bytes.size();
    for (; end - at >= 4; at += 4) {
        quint32 word;
        memcpy(&word, at, 4);
        sum += word;
    }
    quint32 rest = 0;
    memcpy(&rest, at, size_t(end - at));
    return sum + rest;
}

void putChecksum(QByteArray *header, int at, quint64 sum)
{
    sum += wordSum(*header);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    const quint16 checksum = quint16(~sum);
    memcpy(header->data() + at, &checksum, 2);
}

QByteArray addressBytes(const QHostAddress &address, bool ipv4)
{
    QByteArray bytes;
    if (ipv4)
        append32(&bytes, address.toIPv4Address());
    else
        bytes = QByteArray(reinterpret_cast<const char *>(address.toIPv6Address().c), 16);
    return bytes;
}

QByteArray networkHeader(const QByteArray &from, const QByteArray &to, int payloadBytes)
{
    QByteArray header;
    if (from.size() == 16) {
        append32(&header, 6u << 28);
        append16(&header, quint16(payloadBytes));
        header.append(char(protocolTcp)).append(char(hopLimit));
        return header + from + to;
    }
    append16(&header, 0x4500);
    append16(&header, quint16(20 + payloadBytes));
    append32(&header, dontFragment);
    header.append(char(hopLimit)).append(char(protocolTcp)).append(2, '\0');
    header += from + to;
    putChecksum(&header, 10, 0);
    return header;
}

QByteArray tcpHeader(const Segment &segment, const QByteArray &addresses)
{
    const QByteArray options =
        segment.flags & Syn ? QByteArray(synOptions, sizeof synOptions) : QByteArray();
    const int headerBytes = 20 + options.size();
    QByteArray header;
    append16(&header, segment.from.port);
    append16(&header, segment.to.port);
    append32(&header, segment.sequence);
    append32(&header, segment.acknowledgement);
    header.append(char(headerBytes / 4 << 4)).append(char(segment.flags));
    append16(&header, window);
    header.append(4, '\0');
    header += options;

    QByteArray pseudoHeader = addresses;
    append16(&pseudoHeader, protocolTcp);
    append16(&pseudoHeader, quint16(headerBytes + segment.bytes.size()));
    putChecksum(&header, 16, wordSum(pseudoHeader) + wordSum(segment.bytes));
    return header;
}

struct LinkLayer {
    int linkType, headerBytes, etherTypeAt; // -1: the IP packet's first nibble tells
};
const LinkLayer linkLayers[] = {
    { DLT_EN10MB, 14, 12 }, { DLT_LINUX_SLL, 16, 14 }, { DLT_LINUX_SLL2, 20, 0 },
    { DLT_NULL, 4, -1 },    { DLT_LOOP, 4, -1 },       { DLT_RAW, 0, -1 },
    { DLT_IPV4, 0, -1 },    { DLT_IPV6, 0, -1 },
};

const LinkLayer *linkLayerOf(int linkType)
{
    for (const LinkLayer &layer : linkLayers)
        if (layer.linkType == linkType)
            return &layer;
    return nullptr;
}

/// Walks over a packet's headers from the front.
class HeaderWalk {
public:
    HeaderWalk(const QByteArray &packet, qint64 wireBytes)
        : m_packet(packet)
        , m_wireBytes(wireBytes)
    {
    }

    bool has(int bytes) const { return m_packet.size() - m_at >= bytes; }
    quint8 u8(int offset) const { return quint8(m_packet.at(m_at + offset)); }
    quint16 u16(int offset) const
    {
        return qFromBigEndian<quint16>(m_packet.constData() + m_at + offset);
    }
    quint32 u32(int offset) const
    {
        return qFromBigEndian<quint32>(m_packet.constData() + m_at + offset);
    }
    const quint8 *at(int offset) const
    {
        return reinterpret_cast<const quint8 *>(m_packet.constData() + m_at + offset);
    }
    void skip(int bytes) { m_at += bytes; }

    qint64 wireLeft() const { return m_wireBytes - m_at; }
    void limit(qint64 wireLeft)
    {
        m_wireBytes = m_at + wireLeft;
    } // an Ethernet frame may be padded
    QByteArray rest() const { return m_packet.mid(m_at, int(qMax<qint64>(0, wireLeft()))); }

private:
    QByteArray m_packet;
    qint64 m_wireBytes;
    int m_at = 0;
};

Decoded skipLinkHeader(int linkType, HeaderWalk *walk)
{
    const LinkLayer *layer = linkLayerOf(linkType);
    if (!layer)
        return Decoded::Other;
    if (!walk->has(layer->headerBytes))
        return Decoded::CutShort;
    quint16 type = layer->etherTypeAt < 0 ? quint16(etherIpv4) : walk->u16(layer->etherTypeAt);
    walk->skip(layer->headerBytes);
    while (type == etherVlan || type == etherServiceVlan) {
        if (!walk->has(4))
            return Decoded::CutShort;
        type = walk->u16(2);
        walk->skip(4);
    }
    return type == etherIpv4 || type == etherIpv6 ? Decoded::Tcp : Decoded::Other;
}

Decoded skipIpv4Header(HeaderWalk *walk, Segment *segment)
{
    if (!walk->has(20))
        return Decoded::CutShort;
    const int headerBytes = (walk->u8(0) & 15) * 4;
    const int packetBytes = walk->u16(2); // 0 where the network card cuts the packets itself
    if (headerBytes < 20 || (packetBytes != 0 && packetBytes < headerBytes))
        return Decoded::Other;
    if (walk->u8(9) != protocolTcp)
        return Decoded::Other;
    if (walk->u16(6) & fragmentMask)
        return Decoded::Fragment;
    segment->from.address = QHostAddress(walk->u32(12));
    segment->to.address = QHostAddress(walk->u32(16));
    if (packetBytes != 0)
        walk->limit(packetBytes);
    walk->skip(headerBytes);
    return Decoded::Tcp;
}

Decoded skipIpv6Header(HeaderWalk *walk, Segment *segment)
{
    const int headerBytes = 40;
    if (!walk->has(headerBytes))
        return Decoded::CutShort;
    if (walk->u8(6) != protocolTcp)
        return Decoded::Other;
    segment->from.address = QHostAddress(walk->at(8));
    segment->to.address = QHostAddress(walk->at(24));
    const int payloadBytes = walk->u16(4);
    walk->skip(headerBytes);
    if (payloadBytes != 0)
        walk->limit(payloadBytes);
    return Decoded::Tcp;
}

Decoded skipNetworkHeader(HeaderWalk *walk, Segment *segment)
{
    if (!walk->has(1))
        return Decoded::CutShort;
    switch (walk->u8(0) >> 4) {
    case 4:
        return skipIpv4Header(walk, segment);
    case 6:
        return skipIpv6Header(walk, segment);
    default:
        return Decoded::Other;
    }
}

Decoded readTcp(HeaderWalk *walk, Segment *segment)
{
    if (!walk->has(20))
        return Decoded::CutShort;
    segment->from.port = walk->u16(0);
    segment->to.port = walk->u16(2);
    segment->sequence = walk->u32(4);
    segment->acknowledgement = walk->u32(8);
    segment->flags = walk->u8(13);
    const int headerBytes = (walk->u8(12) >> 4) * 4;
    const qint64 payloadBytes = walk->wireLeft() - headerBytes;
    if (headerBytes < 20 || payloadBytes < 0 || payloadBytes > largestOffload)
        return Decoded::Other;
    segment->bytes = walk->rest().mid(headerBytes);
    segment->length = quint32(payloadBytes);
    return Decoded::Tcp;
}

} // namespace

QByteArray encodeFrame(const Segment &segment, int keptBytes)
{
    const bool ipv4 = segment.from.address.protocol() == QAbstractSocket::IPv4Protocol
        && segment.to.address.protocol() == QAbstractSocket::IPv4Protocol;
    const QByteArray from = addressBytes(segment.from.address, ipv4);
    const QByteArray to = addressBytes(segment.to.address, ipv4);
    const QByteArray tcp = tcpHeader(segment, from + to);
    const QByteArray localAddress("\x02\x00", 2); // of no maker
    QByteArray frame = localAddress + to.right(4) + localAddress + from.right(4);
    append16(&frame, ipv4 ? etherIpv4 : etherIpv6);
    frame += networkHeader(from, to, tcp.size() + segment.bytes.size());
    frame += tcp;
    return frame.append(segment.bytes.constData(), keptBytes);
}

Decoded decodePacket(int linkType, const QByteArray &packet, qint64 wireBytes, Segment *segment)
{
    HeaderWalk walk(packet, wireBytes);
    Decoded decoded = skipLinkHeader(linkType, &walk);
    if (decoded == Decoded::Tcp)
        decoded = skipNetworkHeader(&walk, segment);
    return decoded == Decoded::Tcp ? readTcp(&walk, segment) : decoded;
}

bool isKnownLinkType(int linkType)
{
    return linkLayerOf(linkType);
}

} // namespace capture
