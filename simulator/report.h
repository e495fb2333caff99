#ifndef SIMULATOR_REPORT_H
#define SIMULATOR_REPORT_H

#include <QString>

namespace simulator {

/// Prints one line to standard output at once, also when that is a pipe.
void report(const QString &line);

} // namespace simulator

#endif
