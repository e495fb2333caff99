#ifndef RECORDER_REASSEMBLY_H
#define RECORDER_REASSEMBLY_H

#include "recorder/conversation.h"

namespace capture {

/// Puts the segments of any number of connections together.
class Reassembly {
public:
    void add(const Segment &segment);

    /// All connections; what is still waited for is missing.
    Conversation finish();

private:
    struct Direction {
        bool started = false;
        quint32 first = 0, next = 0; // sequence numbers of bytes
        QVector<Segment> waiting; // for bytes before theirs
    };
    struct Entry {
        Connection connection;
        Direction toServer, toClient;
    };

    Entry *entryFor(const Segment &segment);
    void addTo(Direction *direction, Stream *stream, Segment segment);
    bool takeInOrder(Direction *direction, Stream *stream, Segment *segment);
    int takeWaiting(Direction *direction, Stream *stream);
    void giveUpGap(Direction *direction, Stream *stream);

    QVector<Entry> m_entries;
    qint64 m_twice = 0, m_outOfOrder = 0, m_stray = 0;
    qint64 m_lostBytes = 0, m_cutBytes = 0;
};

} // namespace capture

#endif
