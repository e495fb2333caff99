#include "simulator/faultyoutlet.h"

#include <limits>

namespace simulator {
namespace {

const int trickleMs = 50;
const int trickleBytes = 16;
const int oversizedReply = 8; // by then both channels are up
const int nonFiniteEvery = 3, unknownEvery = 3, truncatedEvery = 4, garbageEvery = 8;

struct Limit {
    Fault control, data;
};
const Limit cut{ Fault::CutControl, Fault::CutData };
const Limit reset{ Fault::ResetControl, Fault::ResetData };
const Limit stall{ Fault::StallControl, Fault::StallData };

qint64 limitOf(const FaultPlan &plan, ChannelKind kind, const Limit &limit)
{
    return plan.value(kind == ChannelKind::Control ? limit.control : limit.data,
                      std::numeric_limits<qint64>::max());
}

QByteArray garbage(int seed)
{
    QByteArray bytes(40 + seed % 100, '\0');
    quint32 value = quint32(seed) * 2654435761u + 1;
    for (char &byte : bytes) {
        value = value * 1664525u + 1013904223u;
        byte = char(value >> 24);
    }
    return bytes;
}

} // namespace

FaultyOutlet::FaultyOutlet(QTcpSocket *socket, ChannelKind kind, const FaultPlan &plan)
    : Outlet(socket)
    , m_kind(kind)
    , m_plan(plan)
{
    m_trickle.setInterval(trickleMs);
    connect(&m_trickle, &QTimer::timeout, this,
            [this] { m_socket->write(QByteArray(trickleBytes, 'x')); });
}

void FaultyOutlet::send(const Message &message)
{
    ++m_messages;
    if (m_kind == ChannelKind::Control)
        sendReply(message);
    else
        sendData(message);
}

qint64 FaultyOutlet::queuedBytes() const
{
    return m_silent ? std::numeric_limits<qint64>::max() : Outlet::queuedBytes();
}

void FaultyOutlet::sendReply(Message reply)
{
    if (makes(Fault::Oversized) && m_messages == oversizedReply) {
        beginOversized(reply.name);
        return;
    }
    if (makes(Fault::Unknown) && m_messages % unknownEvery == 0)
        sendLate({ "NoSuchReply", 0, encodeString("nothing to be done with") });
    spoil(&reply);
    sendInPairs(reply);
    if (makes(Fault::Twice))
        sendInPairs(reply);
}

void FaultyOutlet::spoil(Message *reply) const
{
    const bool isReal = reply->name == "StgGetPosition" || reply->name == "GetViewField";
    if (makes(Fault::NonFinite) && isReal && m_messages % nonFiniteEvery == 0) {
        const double infinity = std::numeric_limits<double>::infinity();
        const QByteArray value =
            encodeReal(m_messages % 2 ? infinity : std::numeric_limits<double>::quiet_NaN());
        reply->body = reply->name == "GetViewField" ? value : value + value + value + value + value;
    }
    // the data port's reply keeps its form: without it there would be nothing more to see
    if (!makes(Fault::Truncated) || reply->name == "TcpRegDataPort"
        || m_messages % truncatedEvery > 1)
        return;
    reply->body = m_messages % truncatedEvery ? QByteArray() : encodeUint(0xFFFFFFF0u) + "12";
}

void FaultyOutlet::sendInPairs(const Message &reply)
{
    if (!makes(Fault::Reorder)) {
        sendLate(reply);
    } else if (m_held) {
        sendLate(reply);
        sendLate(*m_held);
        m_held.reset();
    } else {
        m_held = reply;
    }
}

void FaultyOutlet::sendLate(const Message &reply)
{
    const QByteArray bytes = encodeMessage(reply);
    if (makes(Fault::Delay))
        QTimer::singleShot(int(m_plan.value(Fault::Delay, 0)), this,
                           [this, bytes] { write(bytes); });
    else
        write(bytes);
}

void FaultyOutlet::sendData(const Message &message)
{
    if (makes(Fault::Garbage) && m_messages % garbageEvery == 0) {
        const bool framed = m_messages / garbageEvery % 2;
        write(framed ? encodeMessage({ "NoScanData", 0, garbage(m_messages) })
                     : garbage(m_messages));
    }
    write(encodeMessage(message));
}

void FaultyOutlet::beginOversized(const QByteArray &name)
{
    QByteArray header = encodeMessage({ name, 0, QByteArray() });
    header.replace(nameBytes, 4, encodeUint(0xFFFFFFFFu));
    write(header);
    m_silent = true;
    m_trickle.start();
}

void FaultyOutlet::write(const QByteArray &bytes)
{
    if (m_silent)
        return;
    const qint64 cutAt = limitOf(m_plan, m_kind, cut), resetAt = limitOf(m_plan, m_kind, reset);
    const qint64 end = qMin(qMin(cutAt, resetAt), limitOf(m_plan, m_kind, stall));
    const QByteArray sent = bytes.left(int(qMin<qint64>(bytes.size(), end - m_bytes)));
    m_socket->write(sent);
    m_bytes += sent.size();
    if (m_bytes < end)
        return;
    m_silent = true;
    if (end == cutAt || end == resetAt)
        Outlet::end(end == resetAt);
}

} // namespace simulator
