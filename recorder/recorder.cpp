#include "recorder/recorder.h"

#include "recorder/options.h"
#include "recorder/report.h"

#include <csignal>
#include <sys/signalfd.h>

namespace capture {
namespace {

const int pairAttempts = 100;
const int longestWaitMs = 60000;

Endpoint next(Endpoint endpoint)
{
    ++endpoint.port;
    return endpoint;
}

Descriptor takeSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a pipe that nobody reads any more is a file that is full
    return Descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

} // namespace

bool Recorder::start(const Options &options, QString *error)
{
    m_control.emplace("control", &m_writer, -1);
    m_data.emplace("data", &m_writer, options.keptPixels);
    m_control->setMicroscope(options.microscope);
    m_data->setMicroscope(next(options.microscope));
    m_signals = takeSignals();
    return listen(options.listen, error) && m_writer.open(options.file, options.limits, error);
}

bool Recorder::listen(Endpoint endpoint, QString *error)
{
    for (int attempt = 0; attempt < (endpoint.port == 0 ? pairAttempts : 1); ++attempt) {
        if (!m_control->listen(endpoint, error))
            return false;
        const Endpoint control = m_control->listensAt();
        if (control.port < 65535 && m_data->listen(next(control), error))
            return true;
    }
    return false;
}

void Recorder::run()
{
    for (;;) {
        int timeoutMs = longestWaitMs;
        const Relay::PollSet control = m_control->waitsFor(&timeoutMs);
        const Relay::PollSet data = m_data->waitsFor(&timeoutMs);
        pollfd all[] = { control[0],
                         control[1],
                         control[2],
                         data[0],
                         data[1],
                         data[2],
                         { m_signals.get(), POLLIN, 0 } };
        if (poll(all, std::size(all), timeoutMs) < 0)
            continue;
        if (all[6].revents)
            break;
        m_control->handle({ { all[0], all[1], all[2] } });
        m_data->handle({ { all[3], all[4], all[5] } });
        flush();
    }
    report(QStringLiteral("%1 connections, %2 bytes passed on, %3 packets written")
               .arg(m_control->connections() + m_data->connections())
               .arg(m_control->passedBytes() + m_data->passedBytes())
               .arg(m_writer.packets()));
}

void Recorder::flush()
{
    QString error;
    if (!m_writer.flush(&error))
        report(error + "; the conversation goes on unrecorded");
}

} // namespace capture
