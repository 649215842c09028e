#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <sys/types.h>

inline namespace ostrivane
{

class BlockedSignals;
class SharedPreferenceMutex;

/// Holds the machine's shared mutex from construction to destruction. Meanwhile no card saves, nor any program that
/// takes the mutex, so a file that is read, changed and written meanwhile loses nobody's save.
///
/// Belongs to the thread that makes it, which also destroys it. Hold it for moments: every card's save waits. A process
/// that dies holding it leaves it locked until the daemon is restarted, so this thread's signals are blocked meanwhile;
/// in a program of several threads the others block them themselves.
///
/// Each one attaches anew: a daemon that is restarted, also during the wait, makes another segment, and the old one
/// then excludes nobody.
class SharedPreferenceLock
{
public:
    enum Outcome
    {
        Held,
        NoSegment, ///< No daemon runs, so no card saves: nothing is held, and none is made.
        TimedOut,  ///< The deadline came first.
        Unusable   ///< This user may not open the segment, or half a second later there is still no mutex in it.
    };

    /// Waits until the deadline at most; with one that has passed, takes the mutex only if it is free. Throws
    /// std::bad_alloc, holding nothing.
    explicit SharedPreferenceLock(std::chrono::steady_clock::time_point deadline);
    SharedPreferenceLock(const SharedPreferenceLock&) = delete;
    SharedPreferenceLock& operator=(const SharedPreferenceLock&) = delete;
    ~SharedPreferenceLock();

    /// Whether the file may be changed now: the mutex is held, or there is none.
    explicit operator bool() const { return outcome == Held || outcome == NoSegment; }

    Outcome outcome;
    /// After TimedOut, the thread that held the mutex, by the kernel's id; it may be gone. 0 if nobody held it for
    /// long.
    pid_t holder = 0;

private:
    using Time = std::chrono::steady_clock::time_point;

    std::optional<Outcome> attempt(Time deadline, Time creationDeadline);

    std::unique_ptr<BlockedSignals> blockedSignals; ///< Unblocked after the mutex is unlocked.
    std::unique_ptr<SharedPreferenceMutex> mutex;   ///< Set while it is held.
};

}
