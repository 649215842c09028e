#pragma once

#include <string>

#include "control/Proc.h"

/// What stands at the name of the shared mutex. Read, and neither mapped nor locked, so that whatever stands there does
/// this process no harm.
struct SegmentState
{
    enum Kind
    {
        Absent,
        Unreadable, ///< The reason says why.
        Foreign,    ///< Something that no daemon made; the reason says what.
        Unfinished, ///< Its creator has not initialised the mutex yet, or has destroyed it.
        Free,
        Held
    };

    Kind kind = Absent;
    std::string reason;
    /// The holder's thread, in the numbers of its own pid namespace. 0 while the mutex goes from one to the next.
    pid_t thread = 0;
    FileId file;

    bool operator==(const SegmentState&) const = default;

    static const char* const path; ///< Where the system shows the segment.
};

SegmentState readSegment();
