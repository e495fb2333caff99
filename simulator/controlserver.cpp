#include "simulator/controlserver.h"

#include "simulator/microscope.h"
#include "simulator/replay.h"
#include "simulator/report.h"

namespace simulator {

ControlServer::ControlServer(Channel *channel, Microscope *microscope, Replay *replay, bool verbose)
    : m_channel(channel)
    , m_microscope(microscope)
    , m_replay(replay)
    , m_verbose(verbose)
{
    connect(channel, &Channel::opened, this, [this] { m_splitter = MessageSplitter(); });
    connect(channel, &Channel::received, this, &ControlServer::receive);
}

void ControlServer::receive(const QByteArray &bytes)
{
    m_splitter.append(bytes);
    QString problem;
    while (m_channel->hasClient()) {
        Message message;
        const MessageSplitter::Result result = m_splitter.next(&message, &problem);
        if (result == MessageSplitter::Incomplete)
            return;
        if (result == MessageSplitter::Malformed || !handle(message, &problem)) {
            m_channel->drop("malformed input: " + problem);
            return;
        }
    }
}

bool ControlServer::handle(const Message &message, QString *problem)
{
    Command command;
    const bool good = decodeCommand(message, &command, problem);
    if (m_verbose && good)
        report(command.text()
               + (message.flags ? QStringLiteral("  flags %1").arg(message.flags) : QString()));
    const Replay::Answer answer = m_replay ? m_replay->take(message) : Replay::Answer::NotHeld;
    if (!good)
        return answer != Replay::Answer::NotHeld;
    ++m_commandsServed;
    if (answer != Replay::Answer::Refused)
        carryOut(command, answer == Replay::Answer::Given);
    return true;
}

// The instrument follows a recording, so that it can take over where that ends; the scan of the
// recording takes the place of its own.
void ControlServer::carryOut(const Command &command, bool answered)
{
    if (answered && command.id == CommandId::Unknown)
        return;
    Command carriedOut = command;
    if (answered && command.id == CommandId::ScScanXY)
        carriedOut.id = CommandId::ScStopScan;
    const std::optional<Message> reply = m_microscope->execute(carriedOut);
    if (reply && !answered)
        m_channel->send(*reply);
}

} // namespace simulator
