#include "control/PreferenceLock.h"

#include <algorithm>

#include "control/CommandError.h"
#include "control/MutexHolder.h"
#include "control/SegmentState.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long one waits before looking whether the holder still lives.
constexpr milliseconds slice(200);

/// How long a creator may take from making the name to having initialised the mutex.
constexpr milliseconds creation(500);

const std::string segmentPath = SegmentState::path;

/// Throws if who held the mutex lives no more.
void refuseDeadHolder(const SegmentState& state)
{
    if (state.kind != SegmentState::Held || state.thread == 0 || !findHolder(state.thread, state.file).gone)
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
                        (holder.thread != 0 ? describe(holder) : std::string("one after the other")) +
                        "; gave up waiting");
}

}

PreferenceLock::PreferenceLock(std::chrono::milliseconds timeout, const std::function<bool()>& isWanted)
{
    const auto begin = steady_clock::now();
    const auto end = begin + timeout;
    while (!lockWithin(std::min(end, steady_clock::now() + slice)))
    {
        if (!isWanted())
            throw CommandError("nobody wants the shared mutex any more");
        if (const SegmentState state = readSegment(); isNoMutex(state) && steady_clock::now() > begin + creation)
            throw noMutex(state);
        if (steady_clock::now() >= end)
            throw timedOut();
    }
}

PreferenceLock::~PreferenceLock() = default;

bool PreferenceLock::held() const { return lock->outcome == SharedPreferenceLock::Held; }

bool PreferenceLock::lockWithin(steady_clock::time_point end)
{
    refuseDeadHolder(readSegment());
    lock = std::make_unique<SharedPreferenceLock>(end);
    if (lock->outcome == SharedPreferenceLock::Unusable)
    {
        const CommandError error = systemError("can't use the shared mutex " + segmentPath);
        const SegmentState state = readSegment();
        throw isNoMutex(state) ? noMutex(state) : error;
    }
    return static_cast<bool>(*lock);
}
