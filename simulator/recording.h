#ifndef SIMULATOR_RECORDING_H
#define SIMULATOR_RECORDING_H

#include "simulator/commands.h"
#include "simulator/faults.h"
#include "simulator/stage.h"
#include "simulator/units.h"

#include <QMap>

#include <optional>

namespace simulator {

/// A command whose place in the session matters.
struct RecordedStep {
    qint64 timeNs = 0;
    Message message;
    int capturedBody = 0; ///< how many bytes of the body are known, from its start
    std::optional<RecordedBytes> reply;
};

/// The answer to a poll: a command that hosts send again and again.
struct RecordedAnswer {
    int step = 0; ///< how many steps were taken before
    std::optional<RecordedBytes> bytes; ///< none: the microscope stayed silent
};

/// What the microscope did without being asked.
struct RecordedEvent {
    qint64 timeNs = 0;
    int step = 0; ///< how many steps were taken before
    ChannelKind channel = ChannelKind::Data;
    RecordedBytes bytes;
    capture::Ending ending = capture::Ending::None; ///< if not None, it ended the connection
};

/// One connection to the control port, and what came on the data port meanwhile.
struct RecordedSession {
    qint64 openedNs = 0;
    QVector<RecordedStep> steps;
    QMap<QByteArray, QVector<RecordedAnswer>> answers; ///< by the poll's name
    QVector<RecordedEvent> events; ///< in the order of their times
};

struct Recording {
    QVector<RecordedSession> sessions;
    std::optional<StagePosition> stage; ///< what was reported first
    std::optional<double> viewFieldMm;
    QStringList remarks; ///< what was left out
};

/// Reads a capture and finds the conversations with the microscope in it. Returns false with the
/// reason in `error` if there is none.
bool loadRecording(const QString &file, Recording *recording, QString *error);

/// Whether hosts send this command again and again, however long the session takes.
bool isPoll(const QByteArray &name);

/// Whether both ask for the same, however the numbers are written and whatever the flags are. Of a
/// command that was captured in part the known part is compared.
bool isSameCommand(const RecordedStep &recorded, const Message &command);

QString textOf(const Message &command);

} // namespace simulator

#endif
