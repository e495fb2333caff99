#ifndef BENCH_REPORT_H
#define BENCH_REPORT_H

/// Cost of library and host against the bare loop, over frame sizes, message sizes and two hosts.
void reportThroughput(int runs);

/// Load, longest hold of the event loop and memory at the microscope's own pace.
void reportPace(int seconds);

/// Peak memory in frames, and its growth over many frames.
void reportMemory();

#endif
