#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include "bench/stream.h"

/// Receives the stream from `socket` in a bare loop and expands grey to 32-bit pixels in one frame.
/// Returns the CPU time it took, in ns.
qint64 runFloor(int socket, const Stream &stream);

#endif
