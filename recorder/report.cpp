#include "recorder/report.h"

#include <QTime>

#include <cstdio>

namespace capture {

void report(const QString &line)
{
    std::printf("%s %s\n", qPrintable(QTime::currentTime().toString("HH:mm:ss.zzz")),
                qPrintable(line));
    std::fflush(stdout);
}

} // namespace capture
