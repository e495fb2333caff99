#ifndef FUZZ_FEEDSOCKET_H
#define FUZZ_FEEDSOCKET_H

#include <QTcpSocket>

class tescan;

/// A socket without a network: connected from the start, it gives out the bytes that were fed to it
/// and swallows what is written.
class FeedSocket : public QTcpSocket {
public:
    FeedSocket();
    ~FeedSocket() override;

    void feed(const QByteArray &bytes) { m_bytes += bytes; }

    qint64 bytesAvailable() const override;
    void connectToHost(const QString &, quint16, OpenMode, NetworkLayerProtocol) override { }
    void disconnectFromHost() override { }
    void close() override { }

protected:
    qint64 readData(char *data, qint64 maximum) override;
    qint64 writeData(const char *, qint64 count) override { return count; }

private:
    QByteArray m_bytes;
};

/// Puts feed sockets in the place of a link's own, so that a run needs no network. The link owns
/// them.
struct Feed {
    explicit Feed(tescan *link);

    /// Has the link read these bytes; it may be gone afterwards.
    void control(const QByteArray &bytes);
    void data(const QByteArray &bytes);

    tescan *link;
    FeedSocket *controlSocket;
    FeedSocket *dataSocket;
};

#endif
