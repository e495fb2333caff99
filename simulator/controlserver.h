#ifndef SIMULATOR_CONTROLSERVER_H
#define SIMULATOR_CONTROLSERVER_H

#include "simulator/channel.h"
#include "simulator/protocol.h"

namespace simulator {

class Microscope;
class Replay;
struct Command;

/// Takes the commands off the control channel, has the microscope carry them out and replies.
class ControlServer : public QObject {
    Q_OBJECT
public:
    /// All must outlive this object. `verbose` prints every command. With a `replay`, what that
    /// answers is not answered by the microscope.
    ControlServer(Channel *channel, Microscope *microscope, Replay *replay, bool verbose);

    int commandsServed() const { return m_commandsServed; }

private:
    void receive(const QByteArray &bytes);
    bool handle(const Message &message, QString *problem);
    void carryOut(const Command &command, bool answered);

    Channel *m_channel;
    Microscope *m_microscope;
    Replay *m_replay;
    bool m_verbose;
    MessageSplitter m_splitter;
    int m_commandsServed = 0;
};

} // namespace simulator

#endif
