#include "simulator/channel.h"

#include "simulator/outlet.h"
#include "simulator/report.h"

#include <QTimer>

namespace simulator {
namespace {

const qint64 readBufferBytes = 256 * 1024; // a client that floods the port waits in its own socket
const int lastBytesMs = 1000; // what a dropped client has to take the last replies

} // namespace

Channel::Channel(ChannelKind kind, const FaultPlan &faults)
    : m_kind(kind)
    , m_faults(faults)
{
    connect(&m_server, &QTcpServer::newConnection, this, &Channel::accept);
}

Channel::~Channel()
{
    release();
}

QString Channel::name() const
{
    return m_kind == ChannelKind::Control ? "control" : "data";
}

void Channel::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        const bool faulty = !m_faults.once || m_connections == 0;
        const FaultPlan plan = faulty ? m_faults : FaultPlan();
        ++m_connections;
        drop("a new client takes its place");
        if (plan.has(Fault::RefuseData) && m_kind == ChannelKind::Data) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        m_socket = socket;
        m_outlet = makeOutlet(socket, m_kind, plan);
        socket->setReadBufferSize(readBufferBytes);
        connect(socket, &QTcpSocket::readyRead, this,
                [this] { emit received(m_socket->readAll()); });
        connect(socket, &QTcpSocket::bytesWritten, this, &Channel::drained);
        connect(socket, &QTcpSocket::disconnected, this, [this] {
            report(name() + " channel closed");
            release();
            emit closed();
        });
        report(name() + " channel opened");
        emit opened();
    }
}

void Channel::release()
{
    m_outlet.reset();
    if (!m_socket)
        return;
    m_socket->disconnect(this);
    m_socket->deleteLater();
    m_socket.clear();
}

void Channel::send(const Message &message)
{
    if (m_outlet)
        m_outlet->send(message);
}

void Channel::sendBytes(const QByteArray &bytes)
{
    if (m_outlet)
        m_outlet->sendBytes(bytes);
}

void Channel::end(bool reset)
{
    if (m_outlet)
        m_outlet->end(reset);
}

qint64 Channel::queuedBytes() const
{
    return m_outlet ? m_outlet->queuedBytes() : 0;
}

void Channel::drop(const QString &reason)
{
    if (!m_socket)
        return;
    report(name() + " channel dropped: " + reason);
    QTcpSocket *socket = m_socket;
    socket->disconnect(this);
    m_outlet.reset();
    m_socket.clear();
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(lastBytesMs, socket, [socket] { socket->abort(); });
    socket->disconnectFromHost();
    emit closed();
}

} // namespace simulator
