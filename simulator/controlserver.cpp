#include "simulator/controlserver.h"

#include "simulator/microscope.h"
#include "simulator/report.h"

namespace simulator {

ControlServer::ControlServer(Channel *channel, Microscope *microscope, bool verbose)
    : m_channel(channel)
    , m_microscope(microscope)
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
    if (!decodeCommand(message, &command, problem))
        return false;
    if (m_verbose)
        report(command.text()
               + (message.flags ? QStringLiteral("  flags %1").arg(message.flags) : QString()));
    ++m_commandsServed;
    if (const std::optional<Message> reply = m_microscope->execute(command))
        m_channel->send(*reply);
    return true;
}

} // namespace simulator
