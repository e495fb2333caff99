// The data channel: scan data in whatever pieces, compared with placing the pixels one by one.

#include "fuzz/driver.h"
#include "fuzz/feedsocket.h"
#include "sem/tescan.h"

#include <QtEndian>

namespace {
const int headerBytes = 32;
const int runOffset = 52;
const int frameEdges[] = { 1, 2, 7, 32 };

quint32 uint32At(const QByteArray &bytes, int position)
{
    return qFromLittleEndian<quint32>(bytes.constData() + position);
}

void place(quint32 index, const QByteArray &pixels, QImage *frame)
{
    const quint32 edge = quint32(frame->width());
    quint32 column = index % edge, row = index / edge;
    for (const char pixel : pixels) {
        if (row < edge)
            frame->setPixel(int(column), int(row), 0xFF000000 + uchar(pixel) * 0x010101u);
        column = (column + 1) % edge;
        row += column == 0 ? 1 : 0;
        if (row >= edge)
            row = 0;
    }
}

/// The number of messages; negative for a stream with anything but well-formed scan data and a torn
/// message at the end.
int placeAll(QByteArray stream, QImage *frame)
{
    int messages = 0;
    for (; stream.size() > headerBytes; ++messages) {
        if (qstrncmp(stream.constData(), "ScData", 16) != 0)
            return -1;
        const quint32 bodySize = uint32At(stream, 16);
        if (quint32(stream.size() - headerBytes) < bodySize)
            break;
        const int length = headerBytes + int(bodySize);
        if (length < runOffset)
            return -1;
        place(uint32At(stream, 40), stream.mid(runOffset, length - runOffset), frame);
        stream.remove(0, length);
    }
    return messages;
}
} // namespace

void fuzzOne(Input &input)
{
    const int cutCode = input.byte();
    const int edge = frameEdges[input.byte() % 4];
    tescan link(0, 500, edge);
    link.scanning = true;
    FeedSocket *const socket = FeedSocket::replace(&link.dataSocket);
    FeedSocket::replace(&link.controlSocket);
    QImage expected = link.image.copy();
    QList<QPair<QImage, QImage>> kept; // the frames that a host fetched, and what they were
    int fetched = 0;
    QObject::connect(&link, &tescan::imageChanged, &link, [&] {
        ++fetched;
        kept = kept.mid(kept.size() > 3);
        kept.append({ link.image, link.image.copy() });
    });
    const QByteArray stream = input.rest();
    for (Cutter cutter(stream, cutCode); !cutter.atEnd();) {
        socket->feed(cutter.next());
        link.readData();
    }
    for (const auto &frame : kept)
        require(frame.first == frame.second, "a frame that the host holds never changes");
    require(link.image.size() == expected.size(), "the frame keeps its size");
    const int messages = placeAll(stream, &expected);
    require(messages < 0 || fetched == messages, "one signal for each message");
    require(messages < 0 || link.image == expected, "every pixel in its place");
}
