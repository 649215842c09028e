#include "control/PreferenceLock.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include "control/CommandError.h"
#include "control/HeldSignals.h"
#include "control/MutexHolder.h"
#include "control/SegmentState.h"
#include "preferences/SharedPreferenceMutex.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long one waits before looking whether the holder still lives and the segment is still the one of that name.
constexpr milliseconds slice(200);

/// How long a creator may take from making the name to having initialised the mutex.
constexpr milliseconds creation(500);
constexpr milliseconds creationSlice(10);

const std::string segmentPath = SegmentState::path;

/// Throws if who held the mutex lives no more.
void refuseDeadHolder(const SegmentState& state)
{
    if (state.kind != SegmentState::Held || state.thread == 0 || findHolder(state.thread, state.file).process != 0)
        return;
    const SegmentState now = readSegment(); // it may have let go and ended in between
    if (now.kind == SegmentState::Held && now.thread == state.thread && now.file == state.file)
        throw CommandError("who held the shared mutex is gone (thread " + std::to_string(state.thread) +
                           "), so nobody can let it go and no card is saved: restart the service "
                           "(systemctl restart ostrivane-helper)");
}

bool isNoMutex(const SegmentState& state)
{
    return state.kind == SegmentState::Foreign || state.kind == SegmentState::Unfinished;
}

CommandError noMutex(const SegmentState& state)
{
    return CommandError(segmentPath + " is no shared mutex" + (state.reason.empty() ? "" : ": " + state.reason));
}

CommandError timedOut()
{
    const SegmentState state = readSegment();
    if (isNoMutex(state))
        return noMutex(state);
    const MutexHolder holder = findHolder(state.thread, state.file);
    return CommandError("the shared mutex is held by " +
                        (holder.process != 0 ? describe(holder) : std::string("one after the other")) +
                        "; gave up waiting");
}

}

PreferenceLock::PreferenceLock(std::chrono::milliseconds timeout)
{
    const auto begin = steady_clock::now();
    while (!lockWithin(begin, begin + timeout))
        if (steady_clock::now() >= begin + timeout)
            throw timedOut();
}

PreferenceLock::~PreferenceLock()
{
    if (mutex)
        mutex->unlock();
}

bool PreferenceLock::held() const { return mutex != nullptr; }

bool PreferenceLock::lockWithin(steady_clock::time_point begin, steady_clock::time_point end)
{
    const SegmentState state = readSegment();
    if (state.kind == SegmentState::Absent)
        return true;
    if (isNoMutex(state))
    {
        if (steady_clock::now() > begin + creation)
            throw noMutex(state);
        std::this_thread::sleep_for(creationSlice);
        return false;
    }
    refuseDeadHolder(state);

    if (state.kind == SegmentState::Unreadable)
        throw CommandError("can't use the shared mutex " + segmentPath + ": " + state.reason);

    auto attached = std::make_unique<SharedPreferenceMutex>();
    errno = 0;
    if (!attached->open(false))
    {
        if (errno == 0 || errno == ENOENT) // replaced meanwhile
            return false;
        throw systemError("can't use the shared mutex " + segmentPath);
    }
    auto held = std::make_unique<HeldSignals>(); // for a slice, so that a wait can be ended
    if (!attached->isReady() || !attached->lockUntil(std::min(end, steady_clock::now() + slice)))
        return false;
    if (!attached->isCurrent()) // replaced meanwhile, as by a daemon that was started anew
    {
        attached->unlock();
        return false;
    }
    mutex = std::move(attached);
    signals = std::move(held);
    return true;
}
