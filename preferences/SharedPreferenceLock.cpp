#include "preferences/SharedPreferenceLock.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include "preferences/BlockedSignals.h"
#include "preferences/SharedPreferenceMutex.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long to wait for one segment's mutex before looking whether another segment has taken its place: the wait for a
/// mutex whose holder died would otherwise outlast the daemon's restart.
constexpr milliseconds maxSlice(200);

/// How long a creator may take from making the name to making the mutex, and how often to look.
constexpr milliseconds maxCreationTime(500);
constexpr milliseconds creationPollInterval(10);

}

SharedPreferenceLock::SharedPreferenceLock(Time deadline)
{
    const Time creationDeadline = steady_clock::now() + maxCreationTime;
    std::optional<Outcome> result = attempt(deadline, creationDeadline);
    while (!result && steady_clock::now() < deadline)
        result = attempt(deadline, creationDeadline);
    outcome = result.value_or(TimedOut);
}

SharedPreferenceLock::~SharedPreferenceLock()
{
    if (mutex)
        mutex->unlock();
}

/// Empty if another attempt is worth making.
std::optional<SharedPreferenceLock::Outcome> SharedPreferenceLock::attempt(Time deadline, Time creationDeadline)
{
    auto attached = std::make_unique<SharedPreferenceMutex>();
    errno = 0;
    const bool open = attached->open(false);
    if (!open && errno != 0)
        return errno == ENOENT ? NoSegment : Unusable;
    if (!open || !attached->isReady()) // too small yet, or no mutex in it
    {
        if (steady_clock::now() >= creationDeadline)
            return Unusable;
        std::this_thread::sleep_for(creationPollInterval);
        return std::nullopt;
    }
    auto blocked = std::make_unique<BlockedSignals>(); // for one slice, so that a signal can end the wait
    if (!attached->lockUntil(std::min(deadline, steady_clock::now() + maxSlice)))
    {
        holder = attached->holder();
        return std::nullopt;
    }
    if (!attached->isCurrent())
    {
        attached->unlock();
        return std::nullopt;
    }
    mutex = std::move(attached);
    blockedSignals = std::move(blocked);
    return Held;
}
