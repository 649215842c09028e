#pragma once

#include <chrono>

/// Makes the process that holds the shared mutex for this one: the mutex is not robust, so who holds it must survive
/// whatever happens to its caller. It lets go once this process, also as whatever program it becomes by exec, has ended
/// and so have all that inherited a descriptor from it, which this call leaves open for that.
///
/// It is no child of this process, has a session of its own, keeps none of its files open and heeds no signal but
/// SIGKILL.
///
/// False if there is no segment, and then there is no such process either. Throws CommandError as PreferenceLock does.
bool holdPreferenceLock(std::chrono::milliseconds timeout);
