#ifndef SIMULATOR_REPLAY_H
#define SIMULATOR_REPLAY_H

#include "simulator/recording.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace simulator {

class Channel;

/// Plays the microscope of a recording, one session for each client of the control channel. The
/// client's commands drive it: what the microscope did after a command happens after that command.
class Replay : public QObject {
    Q_OBJECT
public:
    enum class Answer { Given, NotHeld, Refused };

    /// `fast`: what the microscope sends of its own comes at once, not at the recorded pace.
    /// `strict`: what the recording does not hold is refused. The channels must outlive this
    /// object.
    Replay(const Recording &recording, bool fast, bool strict, Channel *control, Channel *data);

    /// Gives the recorded answer, if there is one.
    Answer take(const Message &command);

    /// Ends the session that is open. Returns whether all clients did as recorded; where a client
    /// differed is printed when it has gone.
    bool finish();

private:
    struct Difference {
        int step;
        Message recorded, sent; // without a name: none
    };

    void open();
    void close();
    Answer answerPoll(const Message &poll);
    void send(const std::optional<RecordedBytes> &reply);
    int findStep(const Message &command) const;
    void goTo(int step);
    void notSent(int step);
    void deliver();
    void play(const RecordedEvent &event);
    qint64 waitNs(const RecordedEvent &event) const;
    bool isDropped(const RecordedEvent &event) const;
    static QString textOf(const Difference &difference);
    QStringList sessionReport() const;

    Recording m_recording;
    bool m_fast, m_strict;
    Channel *m_control, *m_data;
    QTimer m_timer;

    int m_sessionNumber = 0;
    bool m_open = false;
    RecordedSession m_session;
    int m_step = 0; // how many were taken
    int m_event = 0;
    QMap<QByteArray, int> m_polls; // answers given, by name
    bool m_otherScan = false; // the client started one that was not recorded
    bool m_pollRefused = false; // that was said
    bool m_dataSeen = false; // the client has opened the data channel
    QElapsedTimer m_clock; // since the last step
    qint64 m_stepNs = 0; // when that was in the recording
    int m_asRecorded = 0, m_skipped = 0;
    QVector<Difference> m_differences;
    bool m_differed = false;
};

} // namespace simulator

#endif
