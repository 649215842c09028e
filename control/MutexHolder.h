#pragma once

#include <string>

#include "control/Proc.h"

/// The thread whose number stands in a held mutex, and its process.
struct MutexHolder
{
    pid_t thread = 0;
    pid_t process = 0;    ///< 0 if no process that uses the segment is seen to have a thread of that number.
    bool certain = false; ///< The process is known to use the segment. Else the right to look was missing.
    bool gone = false;    ///< There is no such thread any more: it is not seen, and none that could hold it is hidden.
    bool stopped = false; ///< The process, by a signal.
    std::string name;
    std::string user;
};

/// Looks for the thread among all processes. One whose process is known not to map the segment has got the number of
/// one that is gone. Without the right to look, the number alone decides.
MutexHolder findHolder(pid_t thread, const FileId& segment);

/// "holdmutex (pid 17, user root)", for a terminal: the name is the process's own choice.
std::string describe(const MutexHolder& holder);
