#include "fuzz/feedsocket.h"

#include "sem/tescan.h"

namespace {
FeedSocket *replace(QTcpSocket **socket)
{
    delete *socket;
    FeedSocket *feed = new FeedSocket;
    *socket = feed;
    return feed;
}
} // namespace

FeedSocket::FeedSocket()
{
    setOpenMode(ReadWrite);
    setSocketState(ConnectedState);
}

FeedSocket::~FeedSocket()
{
    setSocketState(UnconnectedState);
}

qint64 FeedSocket::bytesAvailable() const
{
    return m_bytes.size() + QIODevice::bytesAvailable();
}

qint64 FeedSocket::readData(char *data, qint64 maximum)
{
    const qint64 count = qMin<qint64>(maximum, m_bytes.size());
    std::copy_n(m_bytes.constData(), count, data);
    m_bytes.remove(0, int(count));
    return count;
}

Feed::Feed(tescan *link)
    : link(link)
    , controlSocket(replace(&link->controlSocket))
    , dataSocket(replace(&link->dataSocket))
{
}

void Feed::control(const QByteArray &bytes)
{
    controlSocket->feed(bytes);
    link->read();
}

void Feed::data(const QByteArray &bytes)
{
    dataSocket->feed(bytes);
    link->readData();
}
