#include "klayout/exitsignals.h"

#include <csignal>

#include <unistd.h>

namespace klayout {

static const int exitSignals[] = { SIGINT, SIGTERM };
static struct sigaction previous[2];
static int ends[2] = { -1, -1 }; ///< of a pipe: a handler may do little more than write to it

static void tell(int signal)
{
    const char number = char(signal);
    if (write(ends[1], &number, 1) < 0)
        _exit(128 + signal);
}

ExitSignals::ExitSignals(const std::function<void()> &end)
    : m_end(end)
{
    if (pipe(ends) != 0)
        return;
    m_notifier.reset(new QSocketNotifier(ends[0], QSocketNotifier::Read));
    QObject::connect(m_notifier.data(), &QSocketNotifier::activated, [this] {
        char number = 0;
        if (read(ends[0], &number, 1) != 1)
            return;
        m_end();
        std::signal(number, SIG_DFL);
        std::raise(number);
    });
    struct sigaction action = {};
    action.sa_handler = tell;
    for (int i = 0; i < 2; ++i)
        sigaction(exitSignals[i], &action, &previous[i]);
}

ExitSignals::~ExitSignals()
{
    if (!m_notifier)
        return;
    for (int i = 0; i < 2; ++i)
        sigaction(exitSignals[i], &previous[i], nullptr);
    m_notifier.reset();
    for (int &end : ends)
        close(end);
}

} // namespace klayout
