#include "recorder/tcplog.h"

#include <QRandomGenerator>

#include <ctime>

namespace capture {
namespace {

qint64 nowNs()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

Side other(Side side)
{
    return side == Side::Client ? Side::Server : Side::Client;
}

} // namespace

TcpLog::TcpLog(CaptureWriter *writer, const Endpoint &client, const Endpoint &server,
               qint64 keptPixels)
    : m_writer(writer)
    , m_client{ client, QRandomGenerator::global()->generate(), ScanCutter(-1) }
    , m_server{ server, QRandomGenerator::global()->generate(), ScanCutter(keptPixels) }
{
}

void TcpLog::write(Side side, int flags, const Part &part)
{
    Segment segment;
    segment.timeNs = nowNs();
    segment.from = end(side).endpoint;
    segment.to = end(other(side)).endpoint;
    segment.sequence = end(side).next;
    segment.acknowledgement = flags & Ack ? end(other(side)).next : 0;
    segment.flags = quint8(flags);
    segment.bytes = part.bytes;
    segment.length = quint32(part.bytes.size());
    m_writer->write(segment, part.keptBytes);
    end(side).next += segment.length + (flags & (Syn | Fin) ? 1 : 0);
}

void TcpLog::writeParts(Side side, const QVector<Part> &parts)
{
    for (const Part &part : parts)
        write(side, Push | Ack, part);
    if (!parts.isEmpty())
        write(other(side), Ack);
}

void TcpLog::opening()
{
    write(Side::Client, Syn);
}

void TcpLog::opened()
{
    write(Side::Server, Syn | Ack);
    write(Side::Client, Ack);
}

void TcpLog::sent(Side side, const QByteArray &bytes)
{
    if (m_writer->isOpen())
        writeParts(side, end(side).cutter.take(bytes));
}

void TcpLog::ended(Side side)
{
    writeParts(side, end(side).cutter.takeHeldBack());
    write(side, Fin | Ack);
    write(other(side), Ack);
}

void TcpLog::reset(Side side)
{
    writeParts(side, end(side).cutter.takeHeldBack());
    write(side, Reset | Ack);
}

} // namespace capture
