#ifndef SIMULATOR_FAULTYOUTLET_H
#define SIMULATOR_FAULTYOUTLET_H

#include "simulator/outlet.h"

#include <QTimer>

#include <optional>

namespace simulator {

/// Spoils what goes out on a connection: first whole messages, then the stream of bytes.
class FaultyOutlet : public Outlet {
public:
    FaultyOutlet(QTcpSocket *socket, ChannelKind kind, const FaultPlan &plan);

    void send(const Message &message) override;
    qint64 queuedBytes() const override;

private:
    bool makes(Fault fault) const { return m_plan.has(fault); }
    void sendReply(Message reply);
    void sendData(const Message &message);
    void spoil(Message *reply) const;
    void sendInPairs(const Message &reply);
    void sendLate(const Message &reply);
    void beginOversized(const QByteArray &name);
    void write(const QByteArray &bytes);

    ChannelKind m_kind;
    FaultPlan m_plan;
    int m_messages = 0;
    qint64 m_bytes = 0;
    bool m_silent = false; // stalled, cut, or lost in an oversized reply
    std::optional<Message> m_held;
    QTimer m_trickle;
};

} // namespace simulator

#endif
