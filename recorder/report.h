#ifndef RECORDER_REPORT_H
#define RECORDER_REPORT_H

#include <QString>

namespace capture {

/// Prints one line with the time of day to standard output at once, also when that is a pipe.
void report(const QString &line);

} // namespace capture

#endif
