#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "preferences/SharedPreferenceLock.h"

/// Holds the shared mutex from construction to destruction, so that no card of the machine saves meanwhile. Used
/// by one thread.
///
/// Where no segment stands, no daemon runs and no card saves: then nothing is held and none is made. A segment that was
/// replaced during the wait, as by a daemon that was started anew, is given up for the new one.
///
/// While it is held this thread's signals wait: a process that ended with it would leave it locked for good.
class PreferenceLock
{
public:
    /// Waits at most that long. Throws CommandError, which names the holder: after the wait if it is alive, at once if
    /// it is gone or if the segment is none that can be locked. Also throws soon after it is wanted no more, which is
    /// asked while it waits.
    explicit PreferenceLock(
        std::chrono::milliseconds timeout, const std::function<bool()>& isWanted = [] { return true; });
    PreferenceLock(const PreferenceLock&) = delete;
    PreferenceLock& operator=(const PreferenceLock&) = delete;
    ~PreferenceLock();

    /// False if there is no segment.
    bool held() const;

private:
    /// True if the file may be changed now. Waits for a part of the time, at most until then.
    bool lockWithin(std::chrono::steady_clock::time_point end);

    std::unique_ptr<SharedPreferenceLock> lock;
};
