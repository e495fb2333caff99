#ifndef SIMULATOR_SESSIONREADER_H
#define SIMULATOR_SESSIONREADER_H

#include "simulator/recording.h"

namespace simulator {

/// A connection of the capture, cut into its messages.
struct Talk {
    capture::Connection connection;
    QVector<Unit> commands, replies;
    int understood = 0; // commands that the microscope knows
    qint64 leftOutBytes = 0;
};

/// A captured message, with zeros for what is missing of its body.
Message messageOf(const Unit &unit);

/// Puts the two channels' traffic together to a session.
class SessionReader {
public:
    explicit SessionReader(const Talk &control);
    void addData(const Talk &data);
    RecordedSession finish();

private:
    void addCommand(const Unit &unit);
    void addReply(const Unit &unit);
    void addEnding(const capture::Connection &connection, ChannelKind channel);
    void leaveOutLateQuestions(const capture::Connection &control);

    struct Asked {
        int place; // among the steps, or the poll's answers
        qint64 number; // of all commands
        int overtaken = 0; // by replies to commands behind it
        qint64 overtakenAfter = 0; // the last command sent by then
    };
    Asked takeAsked(const QByteArray &name);

    RecordedSession m_session;
    QMap<QByteArray, QList<Asked>> m_asked; // without an answer yet, by name
    QMap<QByteArray, QVector<qint64>> m_pollTimesNs;
    qint64 m_commands = 0, m_lastNs = 0;
};

} // namespace simulator

#endif
