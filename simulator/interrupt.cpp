#include "simulator/interrupt.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <unistd.h>

namespace simulator {
namespace {

int wakeUp[2]; // a handler may not do more than write

void handle(int)
{
    const char byte = 0;
    if (write(wakeUp[1], &byte, 1) < 0)
        _exit(1);
}

} // namespace

void quitOnSignals()
{
    if (pipe(wakeUp) != 0)
        return;
    auto *notifier =
        new QSocketNotifier(wakeUp[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    std::signal(SIGINT, handle);
    std::signal(SIGTERM, handle);
}

} // namespace simulator
