#include "simulator/outlet.h"

#include "simulator/faultyoutlet.h"

#include <QTimer>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

namespace simulator {

std::unique_ptr<Outlet> makeOutlet(QTcpSocket *socket, ChannelKind kind, const FaultPlan &plan)
{
    if (plan.settings.isEmpty())
        return std::make_unique<Outlet>(socket);
    return std::make_unique<FaultyOutlet>(socket, kind, plan);
}

void Outlet::end(bool reset)
{
    // Later: the sender of this message still uses the connection, and a client that is gone shows
    // in flush(), which ends this object.
    QTimer::singleShot(0, m_socket, [socket = m_socket, reset] {
        socket->flush();
        if (!reset)
            return socket->disconnectFromHost();
#ifdef Q_OS_UNIX
        const linger atOnce = { 1, 0 };
        setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
#endif
        socket->abort();
    });
}

} // namespace simulator
