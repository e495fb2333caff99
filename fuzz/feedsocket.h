#ifndef FUZZ_FEEDSOCKET_H
#define FUZZ_FEEDSOCKET_H

#include <QTcpSocket>

/// A socket without a network: connected from the start, it gives out the bytes that were fed to it
/// and swallows what is written.
class FeedSocket : public QTcpSocket {
public:
    FeedSocket()
    {
        setOpenMode(ReadWrite);
        setSocketState(ConnectedState);
    }
    ~FeedSocket() override { setSocketState(UnconnectedState); }

    /// Puts one in the place of a link's own socket; the link owns it.
    static FeedSocket *replace(QTcpSocket **socket)
    {
        delete *socket;
        FeedSocket *feed = new FeedSocket;
        *socket = feed;
        return feed;
    }
    void feed(const QByteArray &bytes) { m_bytes += bytes; }

    qint64 bytesAvailable() const override { return m_bytes.size() + QIODevice::bytesAvailable(); }
    void connectToHost(const QString &, quint16, OpenMode, NetworkLayerProtocol) override { }
    void disconnectFromHost() override { }
    void close() override { }

protected:
    qint64 readData(char *data, qint64 maximum) override
    {
        const qint64 count = qMin<qint64>(maximum, m_bytes.size());
        std::copy_n(m_bytes.constData(), count, data);
        m_bytes.remove(0, int(count));
        return count;
    }
    qint64 writeData(const char *, qint64 count) override { return count; }

private:
    QByteArray m_bytes;
};

#endif
