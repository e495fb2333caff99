#ifndef RECORDER_CONVERSATION_H
#define RECORDER_CONVERSATION_H

#include "recorder/segment.h"

#include <QStringList>
#include <QVector>

namespace capture {

/// A stretch of the bytes that went in one direction.
struct Piece {
    qint64 timeNs = 0; ///< since 1970
    QByteArray bytes;
    qint64 missing = 0; ///< bytes behind them that the capture does not hold
};

enum class Ending { None, Closed, Reset };

/// One direction of a connection, in the order of its bytes.
struct Stream {
    QVector<Piece> pieces;
    Ending ending = Ending::None;
    qint64 endNs = 0;
};

/// One TCP connection.
struct Connection {
    Endpoint client, server;
    bool beginningSeen = false; ///< if not, the end with the lower port is taken for the server
    qint64 openedNs = 0;
    Stream toServer, toClient;
};

/// What a capture holds.
struct Conversation {
    QVector<Connection> connections; ///< in the order in which they were opened
    QStringList remarks; ///< what was left out or put right
};

/// Reads a capture: segments sent twice are taken once, those out of order put in order. Returns
/// false with the reason in `error` if the file is none.
bool readConversation(const QString &file, Conversation *conversation, QString *error);

} // namespace capture

#endif
