#ifndef RECORDER_SEGMENT_H
#define RECORDER_SEGMENT_H

#include <QByteArray>
#include <QHostAddress>

namespace capture {

/// One end of a TCP connection.
struct Endpoint {
    QHostAddress address;
    quint16 port = 0;

    bool operator==(const Endpoint &other) const
    {
        return port == other.port && address == other.address;
    }
    QString text() const; ///< "127.0.0.1:8300", "[::1]:8300"
};

enum SegmentFlag : quint8 { Fin = 1, Syn = 2, Reset = 4, Push = 8, Ack = 16 };

/// A TCP segment as it was on the wire.
struct Segment {
    qint64 timeNs = 0; ///< since 1970
    Endpoint from, to;
    quint32 sequence = 0, acknowledgement = 0;
    quint8 flags = 0;
    QByteArray bytes; ///< of the payload, from its start: all of it or what was captured
    quint32 length = 0; ///< of the payload on the wire, in bytes
};

} // namespace capture

#endif
