#include "simulator/report.h"

#include <cstdio>

namespace simulator {

void report(const QString &line)
{
    std::puts(qPrintable(line));
    std::fflush(stdout);
}

} // namespace simulator
