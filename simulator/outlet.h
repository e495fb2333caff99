#ifndef SIMULATOR_OUTLET_H
#define SIMULATOR_OUTLET_H

#include "simulator/faults.h"
#include "simulator/protocol.h"

#include <QTcpSocket>

#include <memory>

namespace simulator {

/// Where the messages of one connection go out.
class Outlet : public QObject {
public:
    explicit Outlet(QTcpSocket *socket)
        : m_socket(socket)
    {
    }

    virtual void send(const Message &message) { m_socket->write(encodeMessage(message)); }
    virtual qint64 queuedBytes() const { return m_socket->bytesToWrite(); }
    void sendBytes(const QByteArray &bytes) { m_socket->write(bytes); } ///< as they are
    void end(bool reset); ///< once what was sent is on its way

protected:
    QTcpSocket *m_socket;
};

/// A plain outlet, or one that makes the faults of `plan` which concern this kind of channel.
std::unique_ptr<Outlet> makeOutlet(QTcpSocket *socket, ChannelKind kind, const FaultPlan &plan);

} // namespace simulator

#endif
