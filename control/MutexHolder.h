#pragma once

#include <string>

#include "control/Proc.h"

/// The thread whose number stands in a held mutex, and its process.
struct MutexHolder
{
    pid_t thread = 0;
    pid_t process = 0; ///< 0 if no process that uses the segment is seen to have a thread of that number.
    /// It is not only unseen but gone: nothing is hidden from this process that could hold the segment.
    bool gone = false;
    std::string name;
    std::string user;
};

/// Looks for the thread among all processes. One whose process is known not to map the segment has got the number of
/// one that is gone. Where looking is not allowed, the number alone decides.
MutexHolder findHolder(pid_t thread, const FileId& segment);

/// "holdmutex (pid 17, user root)", for a terminal: the name is the process's own choice.
std::string describe(const MutexHolder& holder);
