#ifndef SIMULATOR_UNITS_H
#define SIMULATOR_UNITS_H

#include "recorder/conversation.h"

namespace simulator {

/// Captured bytes; where the capture does not hold them, only how many they were.
struct RecordedBytes {
    struct Run {
        QByteArray bytes;
        qint64 missing = 0;
    };
    QVector<Run> runs;

    qint64 size() const;
    QByteArray filled() const; ///< with zeros for what is missing
};

/// A message, the beginning of one that was cut off, or bytes that are none.
struct Unit {
    qint64 timeNs = 0; ///< when its last byte came, since 1970
    QByteArray name; ///< empty if it is no message
    bool complete = false;
    RecordedBytes bytes;
};

/// Cuts one direction of a channel into messages. Bytes that are no message are passed on as they
/// came, up to the next piece that begins with a header; what cannot be understood because bytes
/// before it are missing is left out and added to `leftOutBytes`.
QVector<Unit> cutIntoUnits(const capture::Stream &stream, qint64 *leftOutBytes);

} // namespace simulator

#endif
