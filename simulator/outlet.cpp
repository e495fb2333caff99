#include "simulator/outlet.h"

#include "simulator/faultyoutlet.h"

namespace simulator {

std::unique_ptr<Outlet> makeOutlet(QTcpSocket *socket, ChannelKind kind, const FaultPlan &plan)
{
    if (plan.settings.isEmpty())
        return std::make_unique<Outlet>(socket);
    return std::make_unique<FaultyOutlet>(socket, kind, plan);
}

} // namespace simulator
