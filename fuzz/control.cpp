// The control channel: whatever bytes the microscope sends, in whatever pieces.

#include "fuzz/driver.h"
#include "fuzz/feedsocket.h"
#include "sem/tescan.h"

namespace {
const int floodCode = 255;
const int floodBytes = 3 << 20;
const int pieceBytes = 128 * 1024;
// One message may be kept up to 1 MiB, and the piece that arrives on top of it.
const int largestBuffer = (1 << 20) + pieceBytes;

struct Outcome {
    int infoTexts = 0;
    int detectorLists = 0;
    int bytesLeft = 0;

    bool operator==(const Outcome &other) const
    {
        return infoTexts == other.infoTexts && detectorLists == other.detectorLists
            && bytesLeft == other.bytesLeft;
    }
};

Outcome run(const QByteArray &stream, int cutCode)
{
    tescan link(0, 500, 1);
    Feed feed(&link);
    Outcome outcome;
    QObject::connect(&link, &tescan::setStatus, &link, [&outcome](const QString &text) {
        outcome.infoTexts += text.startsWith("info:");
    });
    QObject::connect(&link, &tescan::detectorInfo, &link,
                     [&outcome](const QString &, int) { ++outcome.detectorLists; });
    link.connected();
    for (Cutter cutter(stream, cutCode); !cutter.atEnd();) {
        feed.control(cutter.next());
        link.triggerTimer();
    }
    outcome.bytesLeft = link.receiveBuffer.size();
    const Outcome beforeFlood = outcome;
    for (int fed = 0; cutCode == floodCode && fed < floodBytes; fed += pieceBytes) {
        feed.control(QByteArray(pieceBytes, 'x'));
        require(link.receiveBuffer.size() <= largestBuffer, "the receive buffer is bounded");
    }
    return beforeFlood; // which completes a message that was cut short
}
} // namespace

void fuzzOne(Input &input)
{
    const int cutCode = input.byte();
    const QByteArray stream = input.rest();
    const Outcome outcome = run(stream, cutCode);
    require(outcome.bytesLeft < 32 || outcome.bytesLeft <= stream.size(), "nothing is made up");
    if (cutCode != 0)
        require(outcome == run(stream, 0), "the same replies, however they are cut");
}
