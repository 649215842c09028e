#include "preferences/SharedPreferenceLock.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include "preferences/HeldSignals.h"
#include "preferences/SharedPreferenceMutex.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long one waits at a segment before looking whether another has taken its place: the wait for a mutex whose
/// holder died would otherwise outlast the daemon's restart.
constexpr milliseconds slice(200);

/// How long a creator may take from making the name to having made the mutex, and how often one looks.
constexpr milliseconds creation(500);
constexpr milliseconds creationSlice(10);

}

SharedPreferenceLock::SharedPreferenceLock(Time deadline)
{
    const Time creationEnd = steady_clock::now() + creation;
    std::optional<Outcome> result = attempt(deadline, creationEnd);
    while (!result && steady_clock::now() < deadline)
        result = attempt(deadline, creationEnd);
    outcome = result.value_or(TimedOut);
}

SharedPreferenceLock::~SharedPreferenceLock()
{
    if (mutex)
        mutex->unlock();
}

/// Nothing if it is worth another attempt.
std::optional<SharedPreferenceLock::Outcome> SharedPreferenceLock::attempt(Time deadline, Time creationEnd)
{
    auto attached = std::make_unique<SharedPreferenceMutex>();
    errno = 0;
    const bool open = attached->open(false);
    if (!open && errno != 0)
        return errno == ENOENT ? NoSegment : Unusable;
    if (!open || !attached->isReady()) // too small yet, or no mutex in it
    {
        if (steady_clock::now() >= creationEnd)
            return Unusable;
        std::this_thread::sleep_for(creationSlice);
        return std::nullopt;
    }
    auto held = std::make_unique<HeldSignals>(); // for a slice, so that a signal can end the wait
    if (!attached->lockUntil(std::min(deadline, steady_clock::now() + slice)))
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
    signals = std::move(held);
    return Held;
}
