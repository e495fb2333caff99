#ifndef KLAYOUT_EXITSIGNALS_H
#define KLAYOUT_EXITSIGNALS_H

#include <QSocketNotifier>

#include <functional>

namespace klayout {

/// When the process is asked to end by SIGINT or SIGTERM, calls `end` on the GUI thread and then
/// lets the signal end it. One object at a time; the handlers that were there come back with it.
class ExitSignals {
public:
    explicit ExitSignals(const std::function<void()> &end);
    ~ExitSignals();

private:
    std::function<void()> m_end;
    QScopedPointer<QSocketNotifier> m_notifier;
};

} // namespace klayout

#endif
