#ifndef BENCH_SENDER_H
#define BENCH_SENDER_H

#include "bench/stream.h"

#include <QProcess>

/// Sent on the control channel, it is sent back.
const char roundTripMessage[headerBytes] = "GetWD";

/// The other process: a microscope reduced to what the link needs to come up, and a data channel
/// that streams when told to. It serves one connection to each port and ends with the process
/// object.
class Sender {
public:
    explicit Sender(const Stream &stream);
    ~Sender();

    quint16 controlPort() const { return m_controlPort; } ///< the data channel is at the next one
    void start(); ///< begin to stream on the data channel that was connected

private:
    QProcess m_process;
    quint16 m_controlPort = 0;
};

/// main() of that process, with the arguments that Sender passes.
int runSender(const QStringList &arguments);

#endif
