// The control channel: whatever bytes the microscope sends, in whatever pieces.

#include "fuzz/driver.h"
#include "fuzz/feedsocket.h"
#include "sem/tescan.h"

#include <array>

namespace {
const int floodCode = 255;
const int pieceBytes = 128 * 1024;
// One message may be kept up to 1 MiB, and the piece that arrives on top of it.
const int largestBuffer = (1 << 20) + pieceBytes;

/// Information texts, detector lists and bytes that wait for more.
std::array<int, 3> run(const QByteArray &stream, int cutCode)
{
    tescan link(0, 500, 1);
    FeedSocket *const socket = FeedSocket::replace(&link.controlSocket);
    FeedSocket::replace(&link.dataSocket);
    std::array<int, 3> outcome = {};
    QObject::connect(&link, &tescan::setStatus, &link,
                     [&](const QString &text) { outcome[0] += text.startsWith("info:"); });
    QObject::connect(&link, &tescan::detectorInfo, &link, [&] { ++outcome[1]; });
    const auto feed = [&](const QByteArray &bytes) {
        socket->feed(bytes);
        link.read();
        link.triggerTimer();
    };
    link.connected();
    for (Cutter cutter(stream, cutCode); !cutter.atEnd();)
        feed(cutter.next());
    outcome[2] = link.receiveBuffer.size();
    const std::array<int, 3> beforeFlood = outcome; // which completes a message that was cut short
    for (int pieces = 0; cutCode == floodCode && pieces < 24; ++pieces) {
        feed(QByteArray(pieceBytes, 'x'));
        require(link.receiveBuffer.size() <= largestBuffer, "the receive buffer is bounded");
    }
    return beforeFlood;
}
} // namespace

void fuzzOne(Input &input)
{
    const int cutCode = input.byte();
    const QByteArray stream = input.rest();
    const std::array<int, 3> outcome = run(stream, cutCode);
    require(outcome[2] <= stream.size(), "nothing is made up");
    if (cutCode != 0)
        require(outcome == run(stream, 0), "the same replies, however they are cut");
}
