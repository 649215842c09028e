#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <sys/types.h>

inline namespace ostrivane
{

class HeldSignals;
class SharedPreferenceMutex;

/// Holds the machine's shared mutex from construction to destruction, so that meanwhile no card saves, nor a program
/// that keeps to the mutex. What is read, changed and written in between undoes nobody's save.
///
/// Attaches anew each time: a daemon that is started anew makes another segment, also during the wait, and the old one
/// then excludes nobody. For the one thread that makes it, which also destroys it. Hold it for moments: every card's
/// save waits. A process that dies holding it leaves it locked until the daemon is started anew, so this thread's
/// signals wait meanwhile; in a program of several threads the others block them themselves.
class SharedPreferenceLock
{
public:
    enum Outcome
    {
        Held,
        NoSegment, ///< No daemon runs, so no card saves: nothing is held, and none is made.
        TimedOut,  ///< The deadline came first.
        Unusable   ///< This user may not open the segment, or what stands at its name is none half a second later.
    };

    /// Waits until the deadline at the most; with one that is over, takes the mutex only if it is free. Throws
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

    std::optional<Outcome> attempt(Time deadline, Time creationEnd);

    std::unique_ptr<HeldSignals> signals;         ///< Let go behind the mutex.
    std::unique_ptr<SharedPreferenceMutex> mutex; ///< Set while it is held.
};

}
