#ifndef SIMULATOR_INTERRUPT_H
#define SIMULATOR_INTERRUPT_H

namespace simulator {

/// From now on SIGINT and SIGTERM end the application's event loop instead of the process.
void quitOnSignals();

} // namespace simulator

#endif
