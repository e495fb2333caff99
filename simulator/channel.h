#ifndef SIMULATOR_CHANNEL_H
#define SIMULATOR_CHANNEL_H

#include "simulator/faults.h"
#include "simulator/protocol.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

namespace simulator {

class Outlet;

/// One of the two ports with the one client it has: a new client takes the place of the old one.
class Channel : public QObject {
    Q_OBJECT
public:
    Channel(ChannelKind kind, const FaultPlan &faults);
    ~Channel() override;

    bool listen(const QHostAddress &address, quint16 port)
    {
        return m_server.listen(address, port);
    }
    void stopListening() { m_server.close(); }
    quint16 port() const { return m_server.serverPort(); }
    QString errorString() const { return m_server.errorString(); }

    /// Lost when there is no client.
    void send(const Message &message);
    void sendBytes(const QByteArray &bytes);
    bool hasClient() const { return m_socket; }
    qint64 queuedBytes() const; ///< sent, but not taken by the client yet

    void end(bool reset); ///< as a microscope does that goes away
    void drop(const QString &reason); ///< closes the client's connection and prints why

signals:
    void opened();
    void closed();
    void received(const QByteArray &bytes);
    void drained(); ///< the client has taken some of the queued bytes

private:
    void accept();
    void release();
    QString name() const;

    ChannelKind m_kind;
    FaultPlan m_faults;
    int m_connections = 0;
    QTcpServer m_server;
    QPointer<QTcpSocket> m_socket;
    std::unique_ptr<Outlet> m_outlet;
};

} // namespace simulator

#endif
