#include "sem/connectionwatch.h"

ConnectionWatch::ConnectionWatch(QAbstractSocket *socket, const QString &prefix, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_prefix(prefix)
{
    connect(socket, SIGNAL(error(QAbstractSocket::SocketError)), this, SLOT(socketError()));
}

void ConnectionWatch::socketError()
{
    if (m_socket->state() != QAbstractSocket::ConnectedState
        && m_socket->state() != QAbstractSocket::ClosingState)
        emit failed(m_prefix + m_socket->errorString());
}
