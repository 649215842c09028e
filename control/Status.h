#pragma once

#include <string>
#include <vector>

#include "control/DaemonStatus.h"
#include "control/FileStatus.h"
#include "control/MutexHolder.h"
#include "control/SegmentState.h"

/// All that `status` finds out, before anything is judged.
struct Status
{
    std::vector<DaemonStatus> daemons;
    SegmentState mutex;
    MutexHolder holder; ///< Of a mutex that is held.
    FileStatus file;
};

/// One subject in words.
struct StatusLine
{
    std::string subject;
    std::string text;
    std::string advice; ///< What to do; empty where nothing is wrong.
};

/// Asks nobody and waits for nobody: reads /proc, the segment and the file.
Status findStatus();

std::vector<StatusLine> linesOf(const Status& status);

/// One object, whose names the manual lists.
std::string jsonOf(const Status& status);
