#ifndef RECORDER_PACKET_H
#define RECORDER_PACKET_H

#include "recorder/segment.h"

namespace capture {

constexpr int largestPayload =
    65400; ///< bytes of a segment that fit an IP packet of either version

/// The Ethernet frame of a segment that has its whole payload, at most `largestPayload` bytes, with
/// lengths and checksums of all of it; the frame itself ends after `keptBytes` of the payload.
QByteArray encodeFrame(const Segment &segment, int keptBytes);

enum class Decoded {
    Tcp,
    Other, ///< another protocol
    Fragment, ///< part of an IP packet
    CutShort ///< captured too little to know the headers
};

/// Reads the headers of a captured packet of `linkType` (libpcap's DLT_...). `wireBytes` is what it
/// had on the wire. All but the time is set in `segment` if it is TCP.
Decoded decodePacket(int linkType, const QByteArray &packet, qint64 wireBytes, Segment *segment);

/// Whether decodePacket() knows packets of this link type.
bool isKnownLinkType(int linkType);

} // namespace capture

#endif
