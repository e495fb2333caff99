#ifndef BENCH_REPORT_H
#define BENCH_REPORT_H

class Application;

/// Cost of library and host against the bare loop, over frame sizes, message sizes and two hosts;
/// `onlyFrame` and `onlyMessage` (pixels) narrow it down, 0 takes all; false if nothing is left.
bool reportThroughput(int runs, int onlyFrame, int onlyMessage);

/// Load, longest hold of the event loop and memory at the microscope's own pace.
void reportPace(Application *application, int seconds);

/// Peak memory in frames, and its growth over many frames.
void reportMemory();

#endif
