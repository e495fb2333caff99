#ifndef SIMULATOR_CONTROLSERVER_H
#define SIMULATOR_CONTROLSERVER_H

#include "simulator/channel.h"
#include "simulator/protocol.h"

namespace simulator {

class Microscope;

/// Takes the commands off the control channel, has the microscope carry them out and replies.
class ControlServer : public QObject {
    Q_OBJECT
public:
    /// Both must outlive this object. `verbose` prints every command.
    ControlServer(Channel *channel, Microscope *microscope, bool verbose);

    int commandsServed() const { return m_commandsServed; }

private:
    void receive(const QByteArray &bytes);
    bool handle(const Message &message, QString *problem);

    Channel *m_channel;
    Microscope *m_microscope;
    bool m_verbose;
    MessageSplitter m_splitter;
    int m_commandsServed = 0;
};

} // namespace simulator

#endif
