#include "recorder/reassembly.h"

#include <algorithm>

namespace capture {
namespace {

const int largestWaiting = 256; // segments; what does not come meanwhile was not captured
const qint64 widestGap = 1 << 28; // bytes; a segment beyond belongs to no window

qint64 distance(quint32 from, quint32 to)
{
    return qint32(to - from);
}

} // namespace

Reassembly::Entry *Reassembly::entryFor(const Segment &segment)
{
    const bool opens = (segment.flags & (Syn | Ack)) == Syn;
    const auto found = std::find_if(m_entries.rbegin(), m_entries.rend(), [&](const Entry &entry) {
        const Connection &known = entry.connection;
        return (known.client == segment.from && known.server == segment.to)
            || (known.client == segment.to && known.server == segment.from);
    });
    // the same ports may be used again
    if (found != m_entries.rend()
        && !(opens && found->toServer.started && found->toServer.first != segment.sequence + 1))
        return &*found;
    Entry entry;
    Connection &connection = entry.connection;
    connection.beginningSeen = segment.flags & Syn;
    const bool fromClient = connection.beginningSeen ? opens : segment.from.port > segment.to.port;
    connection.client = fromClient ? segment.from : segment.to;
    connection.server = fromClient ? segment.to : segment.from;
    connection.openedNs = segment.timeNs;
    m_entries.append(entry);
    return &m_entries.last();
}

void Reassembly::add(const Segment &segment)
{
    Entry *entry = entryFor(segment);
    if (segment.from == entry->connection.client)
        addTo(&entry->toServer, &entry->connection.toServer, segment);
    else
        addTo(&entry->toClient, &entry->connection.toClient, segment);
}

void Reassembly::addTo(Direction *direction, Stream *stream, Segment segment)
{
    if (segment.flags & Syn)
        ++segment.sequence;
    if (!direction->started) {
        direction->started = true;
        direction->first = direction->next = segment.sequence;
    }
    if (segment.flags & (Fin | Reset) && stream->ending == Ending::None) {
        stream->ending = segment.flags & Reset ? Ending::Reset : Ending::Closed;
        stream->endNs = segment.timeNs;
    }
    if (segment.length == 0)
        return;
    if (qAbs(distance(direction->next, segment.sequence)) > widestGap) {
        ++m_stray;
    } else if (takeInOrder(direction, stream, &segment)) {
        m_outOfOrder += takeWaiting(direction, stream);
    } else {
        segment.bytes.detach(); // it points into the reader's buffer
        direction->waiting.append(segment);
        if (direction->waiting.size() > largestWaiting)
            giveUpGap(direction, stream);
    }
}

/// Whether the segment was due, or past; then it is dealt with.
bool Reassembly::takeInOrder(Direction *direction, Stream *stream, Segment *segment)
{
    const qint64 known = -distance(direction->next, segment->sequence);
    if (known < 0)
        return false;
    if (known > 0)
        ++m_twice;
    const qint64 fresh = segment->length - known;
    if (fresh <= 0)
        return true;
    Piece piece;
    piece.timeNs = segment->timeNs;
    piece.bytes =
        QByteArray(segment->bytes.constData() + qMin<qint64>(known, segment->bytes.size()),
                   int(qMax<qint64>(0, segment->bytes.size() - known)));
    piece.missing = fresh - piece.bytes.size();
    m_cutBytes += piece.missing;
    direction->next += quint32(fresh);
    stream->pieces.append(piece);
    return true;
}

/// Takes what is no longer waited for, and returns how many segments that were.
int Reassembly::takeWaiting(Direction *direction, Stream *stream)
{
    const int before = direction->waiting.size();
    for (int i = 0; i < direction->waiting.size();) {
        Segment segment = direction->waiting.at(i);
        if (takeInOrder(direction, stream, &segment)) {
            direction->waiting.removeAt(i);
            i = 0;
        } else {
            ++i;
        }
    }
    return before - direction->waiting.size();
}

void Reassembly::giveUpGap(Direction *direction, Stream *stream)
{
    const auto first = std::min_element(direction->waiting.begin(), direction->waiting.end(),
                                        [direction](const Segment &one, const Segment &other) {
                                            return distance(direction->next, one.sequence)
                                                < distance(direction->next, other.sequence);
                                        });
    Piece gap;
    gap.timeNs = first->timeNs;
    gap.missing = distance(direction->next, first->sequence);
    m_lostBytes += gap.missing;
    stream->pieces.append(gap);
    direction->next = first->sequence;
    takeWaiting(direction, stream);
}

Conversation Reassembly::finish()
{
    Conversation conversation;
    for (Entry &entry : m_entries) {
        while (!entry.toServer.waiting.isEmpty())
            giveUpGap(&entry.toServer, &entry.connection.toServer);
        while (!entry.toClient.waiting.isEmpty())
            giveUpGap(&entry.toClient, &entry.connection.toClient);
        conversation.connections.append(entry.connection);
    }
    const struct {
        qint64 count;
        const char *what;
    } remarks[] = { { m_twice, "segments that came twice" },
                    { m_outOfOrder, "segments put in order" },
                    { m_stray, "segments left out that belong to no window" },
                    { m_lostBytes, "bytes that were not captured" },
                    { m_cutBytes, "bytes of which only the number was captured" } };
    for (const auto &remark : remarks)
        if (remark.count > 0)
            conversation.remarks.append(
                QStringLiteral("%1: %2").arg(remark.what).arg(remark.count));
    return conversation;
}

} // namespace capture
