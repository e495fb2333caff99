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

const int mostHeaderBytes = 14 + 40 + 20 + sizeof synOptions;

// In the machine's byte order: the complement's sum is the same in either, turned round.
quint64 wordSum(const char *at, qint64 count)
{
    quint64 sum = 0;
    for (; count >= 4; at += 4, count -= 4) {
        quint32 word;
        memcpy(&word, at, 4);
        sum += word;
    }
    quint32 rest = 0;
    memcpy(&rest, at, size_t(count));
    return sum + rest;
}

void putChecksum(char *at, quint64 sum)
{
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    const quint16 checksum = quint16(~sum);
    memcpy(at, &checksum, 2);
}

// Where the headers of a frame lie, and how long they are.
struct Layout {
    explicit Layout(const Segment &segment)
        : ipv4(segment.from.address.protocol() == QAbstractSocket::IPv4Protocol
               && segment.to.address.protocol() == QAbstractSocket::IPv4Protocol)
        , addressesAt(ipAt + (ipv4 ? 12 : 8))
        , addressBytes(ipv4 ? 4 : 16)
        , tcpAt(addressesAt + 2 * addressBytes)
        , tcpBytes(20 + (segment.flags & Syn ? int(sizeof synOptions) : 0))
    {
    }

    static const int ipAt = 14;
    bool ipv4;
    int addressesAt, addressBytes, tcpAt, tcpBytes;
};

void putAddress(const QHostAddress &address, bool ipv4, char *at)
{
    if (ipv4)
        return qToBigEndian(address.toIPv4Address(), at);
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    memcpy(at, &bytes, sizeof bytes);
}

void putEthernetHeader(const Layout &layout, char *frame)
{
    const char *const addresses = frame + layout.addressesAt;
    for (int end = 0; end < 2; ++end) { // the receiver comes first
        frame[6 * end] = 2; // an address of no maker
        memcpy(frame + 6 * end + 2, addresses + (2 - end) * layout.addressBytes - 4, 4);
    }
    qToBigEndian(layout.ipv4 ? etherIpv4 : etherIpv6, frame + 12);
}

void putNetworkHeader(const Segment &segment, const Layout &layout, char *frame)
{
    char *const header = frame + Layout::ipAt;
    const int payloadBytes = layout.tcpBytes + segment.bytes.size();
    putAddress(segment.from.address, layout.ipv4, frame + layout.addressesAt);
    putAddress(segment.to.address, layout.ipv4, frame + layout.addressesAt + layout.addressBytes);
    if (!layout.ipv4) {
        header[0] = 6 << 4;
        qToBigEndian(quint16(payloadBytes), header + 4);
        header[6] = protocolTcp;
        header[7] = hopLimit;
        return;
    }
    header[0] = 4 << 4 | 5;
    qToBigEndian(quint16(20 + payloadBytes), header + 2);
    qToBigEndian(dontFragment, header + 6);
    header[8] = hopLimit;
    header[9] = protocolTcp;
    putChecksum(header + 10, wordSum(header, 20));
}

void putTcpHeader(const Segment &segment, const Layout &layout, char *frame)
{
    char *const header = frame + layout.tcpAt;
    qToBigEndian(segment.from.port, header);
    qToBigEndian(segment.to.port, header + 2);
    qToBigEndian(segment.sequence, header + 4);
    qToBigEndian(segment.acknowledgement, header + 8);
    header[12] = char(layout.tcpBytes / 4 << 4);
    header[13] = char(segment.flags);
    qToBigEndian(window, header + 14);
    memcpy(header + 20, synOptions, size_t(layout.tcpBytes - 20));
    const quint16 pseudoHeader[] = { qToBigEndian<quint16>(protocolTcp),
                                     qToBigEndian(
                                         quint16(layout.tcpBytes + segment.bytes.size())) };
    putChecksum(header + 16,
                pseudoHeader[0] + pseudoHeader[1]
                    + wordSum(frame + layout.addressesAt, 2 * layout.addressBytes)
                    + wordSum(header, layout.tcpBytes)
                    + wordSum(segment.bytes.constData(), segment.bytes.size()));
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
    const Layout layout(segment);
    const int headerBytes = layout.tcpAt + layout.tcpBytes;
    char headers[mostHeaderBytes] = {};
    putNetworkHeader(segment, layout, headers);
    putEthernetHeader(layout, headers);
    putTcpHeader(segment, layout, headers);
    QByteArray frame;
    frame.reserve(headerBytes + keptBytes);
    frame.append(headers, headerBytes);
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
