#include "recorder/conversation.h"

#include "recorder/capturereader.h"
#include "recorder/reassembly.h"

namespace capture {
namespace {

const qint64 largestConversation = 1 << 30; // bytes kept in memory

} // namespace

bool readConversation(const QString &file, Conversation *conversation, QString *error)
{
    CaptureReader reader;
    if (!reader.open(file, error))
        return false;
    Reassembly reassembly;
    Segment segment;
    qint64 bytes = 0;
    while (bytes < largestConversation && reader.next(&segment)) {
        bytes += segment.bytes.size() + int(sizeof(Piece));
        reassembly.add(segment);
    }
    *conversation = reassembly.finish();
    conversation->remarks = reader.remarks() + conversation->remarks;
    if (bytes >= largestConversation)
        conversation->remarks.append("left out what follows the first GiB");
    return true;
}

} // namespace capture
