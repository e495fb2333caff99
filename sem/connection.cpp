// Bringing the two channels up and down, and the polls that run while the control channel is up.

#include "sem/tescan.h"

#include <QPointer>

void tescan::connectToSEM(QString host, int port, int)
{
    const Handover handler(&m_handler);
    if (!dropConnection())
        return;
    semHost = host;
    semPort = port;
    // First: an attempt may fail at once, and its reason is what the user should read.
    if (tell("connecting..."))
        controlSocket->connectToHost(semHost, quint16(semPort), QIODevice::ReadWrite);
}

/// Emits a status text; false if whoever received it deleted the link.
bool tescan::tell(const char *status)
{
    const QPointer<tescan> alive(this);
    emit setStatus(QLatin1String(status));
    return alive;
}

/// Back to a clean slate, whatever was under way; false if the link was deleted meanwhile.
bool tescan::dropConnection()
{
    const QPointer<tescan> alive(this);
    ++m_attempt;
    if (linkState >= AwaitDataPort) {
        linkState = NotConnected; // a receiver that connects again shall not come back here
        disconnected();
    }
    if (!alive)
        return false;
    QTcpSocket *const sockets[] = { controlSocket, dataSocket };
    for (int i = 0; i < 2; ++i) {
        const bool blocked = sockets[i]->blockSignals(true);
        sockets[i]->abort();
        sockets[i]->blockSignals(blocked);
    }
    receiveBuffer.clear();
    dataBuffer.clear();
    dataBuffer.reserve(2 * readBytes); // a reserved one keeps its memory from message to message
    m_frames.forgetBytes();
    m_readPause.stop();
    m_skipControl = m_skipData = 0;
    return true;
}

void tescan::connected()
{
    const Handover handler(&m_handler);
    TcpRegDataPort(dataPort);
    linkState = AwaitDataPort;
    if (tell("connecting data channel..."))
        DtEnumDetectors();
}

void tescan::disconnected()
{
    const Handover handler(&m_handler);
    const QPointer<tescan> alive(this);
    const int attempt = m_attempt;
    // A receiver that connected again has new channels, which are not to be closed.
    if (!tell("disconnected...") || attempt != m_attempt)
        return;
    // One that is still being opened would be closed only once it is open.
    const QAbstractSocket::SocketState state = dataSocket->state();
    if (state == QAbstractSocket::HostLookupState || state == QAbstractSocket::ConnectingState)
        dataSocket->abort();
    else
        dataSocket->disconnectFromHost();
    if (alive && attempt == m_attempt)
        controlSocket->disconnectFromHost();
    if (alive && attempt == m_attempt)
        linkState = NotConnected;
}

void tescan::triggerTimer()
{
    if (linkState >= AwaitDataPort && linkState <= AwaitDataPortLast) {
        dataPort += 2;
        TcpRegDataPort(dataPort);
    }
    if (linkState >= AwaitDataPort) {
        headerFlags = 0;
        StgGetPosition();
        GetViewField();
    }
}

/// Takes over up to `maximum` bytes of what has arrived and returns their number, negative if no
/// more can come.
int tescan::receive(QTcpSocket *socket, QByteArray *buffer, int maximum, qint64 *skip)
{
    // Straight to the end of the buffer: at full scan rate every copy counts.
    const int held = buffer->size();
    buffer->resize(held + maximum);
    const int count = int(socket->read(buffer->data() + held, maximum));
    buffer->resize(held + qMax(count, 0));
    const int skipped = int(qMin<qint64>(*skip, buffer->size() - held));
    *skip -= skipped;
    if (skipped > 0)
        buffer->remove(held, skipped);
    return count;
}

/// Whether the message of `length` bytes at `start` has arrived whole. One that is still incomplete
/// beyond `maximum` bytes can be nothing the instrument sends: the rest of it is to be skipped as
/// it arrives, so that no announced size makes the buffer grow without bound.
bool tescan::complete(QByteArray *buffer, int start, qint64 length, int maximum, qint64 *skip)
{
    const qint64 held = buffer->size() - start;
    if (held < length && held > maximum)
        *skip = length - held;
    return held >= length;
}
