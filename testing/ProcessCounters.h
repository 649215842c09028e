#pragma once

#include <sys/types.h>

/// All context switches that the process's threads have made so far.
long contextSwitches(pid_t process);

/// Waits until the process has so many threads, or more, and none of them has run for a while. False if that never
/// comes.
bool awaitIdle(pid_t process, long threads);
