#ifndef RECORDER_RELAY_H
#define RECORDER_RELAY_H

#include "recorder/sockets.h"
#include "recorder/tcplog.h"

#include <QDeadlineTimer>

#include <array>
#include <optional>
#include <poll.h>
#include <vector>

namespace capture {

/// Passes the one client of one port on to the microscope, byte for byte, and logs what passes.
class Relay {
public:
    using PollSet = std::array<pollfd, 3>;

    /// `channel` is its name in messages; `writer` must outlive this object.
    Relay(const QString &channel, CaptureWriter *writer, qint64 keptPixels);

    bool listen(const Endpoint &endpoint, QString *error);
    Endpoint listensAt() const { return localEnd(m_listener); }
    void setMicroscope(const Endpoint &microscope) { m_microscope = microscope; }

    /// What to wait for. `timeoutMs` is lowered where this does not wait as long.
    PollSet waitsFor(int *timeoutMs) const;
    void handle(const PollSet &happened);

    int connections() const { return m_connections; }
    qint64 passedBytes() const { return m_passedBytes; }

private:
    /// Bytes on their way in one direction.
    struct Pipe {
        Side from;
        std::vector<char> buffer;
        size_t begin = 0, end = 0; // what is left to be sent
        bool ended = false; // nothing more comes
        bool endPassed = false;

        bool isEmpty() const { return begin == end; }
    };

    void accept();
    void begin(Descriptor client);
    void checkConnected();
    void giveUp(const QString &reason);
    void watchSilence();
    void noteAnswer();
    void pump(Pipe *pipe);
    bool receive(Pipe *pipe);
    bool send(Pipe *pipe);
    void broken(Side side);
    void close();

    Descriptor &socket(Side side) { return side == Side::Client ? m_client : m_server; }
    short eventsFor(Side side) const;

    QString m_channel;
    CaptureWriter *m_writer;
    qint64 m_keptPixels;
    Endpoint m_microscope;
    Descriptor m_listener, m_client, m_server;
    bool m_connected = false; // to the microscope
    QDeadlineTimer m_connectLimit;
    QDeadlineTimer m_answerLimit{ QDeadlineTimer::Forever }; // since bytes went to the microscope
    bool m_silent = false; // that was said
    Pipe m_toServer, m_toClient;
    std::optional<TcpLog> m_log;
    int m_connections = 0;
    qint64 m_passedBytes = 0;
};

} // namespace capture

#endif
