#include "recorder/relay.h"

#include "recorder/report.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace capture {
namespace {

const size_t bufferBytes = 64 * 1024; // more would keep the other channel waiting
const int connectLimitMs = 10000;
const int answerLimitMs = 5000; // hosts ask twice a second

const char *nameOf(Side side)
{
    return side == Side::Client ? "client" : "microscope";
}

Side opposite(Side side)
{
    return side == Side::Client ? Side::Server : Side::Client;
}

} // namespace

Relay::Relay(const QString &channel, CaptureWriter *writer, qint64 keptPixels)
    : m_channel(channel)
    , m_writer(writer)
    , m_keptPixels(keptPixels)
    , m_toServer{ Side::Client, std::vector<char>(bufferBytes) }
    , m_toClient{ Side::Server, std::vector<char>(bufferBytes) }
{
}

bool Relay::listen(const Endpoint &endpoint, QString *error)
{
    m_listener = listenAt(endpoint);
    if (!m_listener)
        *error =
            QStringLiteral("cannot listen at %1: %2").arg(endpoint.text(), std::strerror(errno));
    return bool(m_listener);
}

short Relay::eventsFor(Side side) const
{
    if (!m_connected)
        return side == Side::Server ? POLLOUT : 0;
    const Pipe &from = side == Side::Client ? m_toServer : m_toClient;
    const Pipe &to = side == Side::Client ? m_toClient : m_toServer;
    return short((from.isEmpty() && !from.ended ? POLLIN : 0) | (to.isEmpty() ? 0 : POLLOUT));
}

Relay::PollSet Relay::waitsFor(int *timeoutMs) const
{
    if (m_client && !m_connected)
        *timeoutMs = int(qMin<qint64>(*timeoutMs, m_connectLimit.remainingTime() + 1));
    if (!m_answerLimit.isForever() && m_toClient.isEmpty())
        *timeoutMs = int(qMin<qint64>(*timeoutMs, m_answerLimit.remainingTime() + 1));
    PollSet set = { { { m_listener.get(), POLLIN, 0 },
                      { m_client.get(), eventsFor(Side::Client), 0 },
                      { m_server.get(), eventsFor(Side::Server), 0 } } };
    for (pollfd &entry : set)
        if (entry.events == 0)
            entry.fd = -1; // else the end of a connection wakes us before it is its turn
    return set;
}

void Relay::handle(const PollSet &happened)
{
    if (m_client && !m_connected)
        checkConnected();
    if (m_connected && (happened[1].revents || happened[2].revents)) {
        pump(&m_toServer);
        pump(&m_toClient);
    }
    watchSilence();
    if (m_toServer.endPassed && m_toClient.endPassed)
        close();
    if (happened[0].revents)
        accept();
}

void Relay::accept()
{
    Descriptor client = acceptFrom(m_listener);
    if (!client)
        return;
    if (m_client && !m_toServer.ended && !isLeft(m_client)) {
        report(QStringLiteral("%1 channel: second client %2 refused, the microscope serves one")
                   .arg(m_channel, remoteEnd(client).text()));
        resetConnection(&client);
        return;
    }
    if (m_client) // it has gone, and the microscope has not noticed yet
        broken(Side::Client);
    begin(std::move(client));
}

void Relay::begin(Descriptor client)
{
    m_client = std::move(client);
    m_log.emplace(m_writer, remoteEnd(m_client), m_microscope, m_keptPixels);
    m_log->opening();
    for (Pipe *pipe : { &m_toServer, &m_toClient }) {
        pipe->begin = pipe->end = 0;
        pipe->ended = pipe->endPassed = false;
    }
    m_connectLimit.setRemainingTime(connectLimitMs);
    m_server = beginToConnect(m_microscope);
    if (!m_server)
        giveUp(std::strerror(errno));
}

void Relay::checkConnected()
{
    pollfd decided = { m_server.get(), POLLOUT, 0 };
    if (poll(&decided, 1, 0) <= 0) {
        if (m_connectLimit.hasExpired())
            giveUp(QStringLiteral("nothing within %1 s").arg(connectLimitMs / 1000));
        return;
    }
    if (const int error = connectionError(m_server))
        return giveUp(std::strerror(error));
    m_connected = true;
    ++m_connections;
    m_log->opened();
    report(QStringLiteral("%1 channel: %2 connected").arg(m_channel, remoteEnd(m_client).text()));
}

void Relay::giveUp(const QString &reason)
{
    report(QStringLiteral("%1 channel: the microscope at %2 does not answer: %3")
               .arg(m_channel, m_microscope.text(), reason));
    broken(Side::Server);
}

// What the client has not taken keeps us from hearing the microscope.
void Relay::watchSilence()
{
    if (m_answerLimit.isForever() || !m_toClient.isEmpty() || !m_answerLimit.hasExpired())
        return;
    report(QStringLiteral("%1 channel: nothing from the microscope for %2 s, though it was asked")
               .arg(m_channel)
               .arg(answerLimitMs / 1000));
    m_silent = true;
    m_answerLimit = QDeadlineTimer(QDeadlineTimer::Forever);
}

void Relay::noteAnswer()
{
    if (m_silent)
        report(QStringLiteral("%1 channel: the microscope answers again").arg(m_channel));
    m_silent = false;
    m_answerLimit = QDeadlineTimer(QDeadlineTimer::Forever);
}

void Relay::pump(Pipe *pipe)
{
    // What came is sent before it is logged: nobody waits for the log.
    const bool fresh = m_connected && pipe->isEmpty() && !pipe->ended && receive(pipe);
    const size_t begin = pipe->begin, end = pipe->end;
    if (m_connected && !pipe->isEmpty() && !send(pipe))
        return;
    if (fresh && m_connected)
        m_log->sent(pipe->from,
                    QByteArray::fromRawData(pipe->buffer.data() + begin, int(end - begin)));
    if (m_connected && pipe->ended && pipe->isEmpty() && !pipe->endPassed) {
        pipe->endPassed = true;
        shutdown(socket(opposite(pipe->from)).get(), SHUT_WR);
        m_log->ended(pipe->from);
        report(QStringLiteral("%1 channel: closed by the %2").arg(m_channel, nameOf(pipe->from)));
    }
}

/// Whether bytes came.
bool Relay::receive(Pipe *pipe)
{
    const ssize_t count =
        recv(socket(pipe->from).get(), pipe->buffer.data(), pipe->buffer.size(), 0);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        report(QStringLiteral("%1 channel: reset by the %2: %3")
                   .arg(m_channel, nameOf(pipe->from), std::strerror(errno)));
        broken(pipe->from);
    }
    pipe->ended = count == 0;
    pipe->begin = 0;
    pipe->end = size_t(qMax<ssize_t>(0, count));
    m_passedBytes += qint64(pipe->end);
    if (count > 0 && pipe->from == Side::Server)
        noteAnswer();
    return count > 0;
}

/// False if the connection is gone.
bool Relay::send(Pipe *pipe)
{
    const Side to = opposite(pipe->from);
    const ssize_t count = ::send(socket(to).get(), pipe->buffer.data() + pipe->begin,
                                 pipe->end - pipe->begin, MSG_NOSIGNAL);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        report(QStringLiteral("%1 channel: reset by the %2: %3")
                   .arg(m_channel, nameOf(to), std::strerror(errno)));
        broken(to);
        return false;
    }
    pipe->begin += size_t(qMax<ssize_t>(0, count));
    if (count > 0 && to == Side::Server && !m_silent && m_answerLimit.isForever())
        m_answerLimit.setRemainingTime(answerLimitMs);
    return true;
}

/// The connection ends at both ends as it ended at this one.
void Relay::broken(Side side)
{
    m_log->reset(side);
    if (m_client)
        resetConnection(&m_client);
    if (m_server)
        resetConnection(&m_server);
    close();
}

void Relay::close()
{
    m_client = Descriptor();
    m_server = Descriptor();
    m_connected = m_silent = false;
    m_answerLimit = QDeadlineTimer(QDeadlineTimer::Forever);
    m_log.reset();
    m_toServer.ended = m_toServer.endPassed = m_toClient.ended = m_toClient.endPassed = false;
}

} // namespace capture
