#ifndef RECORDER_RECORDER_H
#define RECORDER_RECORDER_H

#include "recorder/relay.h"

namespace capture {

struct Options;

/// Both channels, and the file.
class Recorder {
public:
    /// Opens the file and listens. Returns false with the reason in `error`.
    bool start(const Options &options, QString *error);

    quint16 controlPort() const { return m_control->listensAt().port; }
    quint16 dataPort() const { return m_data->listensAt().port; }

    /// Serves until SIGINT or SIGTERM.
    void run();

private:
    bool listen(Endpoint endpoint, QString *error);
    void flush();

    CaptureWriter m_writer;
    Descriptor m_signals;
    std::optional<Relay> m_control, m_data;
};

} // namespace capture

#endif
