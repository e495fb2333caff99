// The data channel: scan data in whatever pieces, compared with placing the pixels one by one.

#include "fuzz/driver.h"
#include "fuzz/feedsocket.h"
#include "sem/tescan.h"

#include <QtEndian>

namespace {
const int headerBytes = 32;
const int runOffset = 52;
const int frameEdges[] = { 1, 2, 7, 32 };

/// A host that keeps the frames it fetched.
struct Host {
    struct Kept {
        QImage frame;
        uint hash;
    };

    static uint hash(const QImage &frame)
    {
        return qHashBits(frame.constBits(), size_t(frame.sizeInBytes()));
    }
    void fetch(const QImage &frame)
    {
        ++fetched;
        if (kept.size() > 3)
            kept.removeFirst();
        kept.append({ frame, hash(frame) });
    }
    bool unchanged() const
    {
        for (const Kept &one : kept)
            if (one.hash != hash(one.frame))
                return false;
        return true;
    }

    QList<Kept> kept;
    int fetched = 0;
};

/// The frame as the contract words it, pixel by pixel.
struct Frame {
    explicit Frame(int edge)
        : edge(edge)
        , image(edge, edge, QImage::Format_RGB32)
    {
        image.fill(0xFF646464);
    }

    void place(quint32 index, const QByteArray &pixels)
    {
        quint32 column = index % quint32(edge), row = index / quint32(edge);
        for (const char pixel : pixels) {
            if (row < quint32(edge))
                image.setPixel(int(column), int(row), 0xFF000000 + uchar(pixel) * 0x010101u);
            if (++column == quint32(edge)) {
                column = 0;
                ++row;
            }
            if (row >= quint32(edge))
                row = 0;
        }
    }

    int edge;
    QImage image;
    int messages = 0;
};

quint32 uint32At(const QByteArray &bytes, int position)
{
    return qFromLittleEndian<quint32>(bytes.constData() + position);
}

/// False for a stream with anything but well-formed scan data and a torn message at the end.
bool placeAll(QByteArray stream, Frame *frame)
{
    while (stream.size() > headerBytes) {
        if (qstrncmp(stream.constData(), "ScData", 16) != 0)
            return false;
        const quint32 bodySize = uint32At(stream, 16);
        if (quint32(stream.size() - headerBytes) < bodySize)
            return true;
        const int length = headerBytes + int(bodySize);
        if (length < runOffset)
            return false;
        frame->place(uint32At(stream, 40), stream.mid(runOffset, length - runOffset));
        ++frame->messages;
        stream.remove(0, length);
    }
    return true;
}
} // namespace

void fuzzOne(Input &input)
{
    const int cutCode = input.byte();
    const int edge = frameEdges[input.below(4)];
    tescan link(0, 500, edge);
    link.scanning = true;
    Feed feed(&link);
    Host host;
    QObject::connect(&link, &tescan::imageChanged, &link, [&] { host.fetch(link.image); });
    const QByteArray stream = input.rest();
    for (Cutter cutter(stream, cutCode); !cutter.atEnd();)
        feed.data(cutter.next());

    require(host.unchanged(), "a frame that the host holds never changes");
    require(link.image.size() == QSize(edge, edge), "the frame keeps its size");
    Frame expected(edge);
    if (placeAll(stream, &expected)) {
        require(host.fetched == expected.messages, "one signal for each message");
        require(link.image == expected.image, "every pixel in its place");
    }
}
