#include "control/Status.h"

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// How often a holder that is not seen is looked for: it may have let go and ended before it was looked for.
constexpr int looks = 3;

/// One that is not seen is told of only if the mutex is still its own after the look.
void findMutex(Status& status)
{
    for (int look = 0; look < looks; ++look)
    {
        status.mutex = readSegment();
        status.holder = {};
        if (status.mutex.kind != SegmentState::Held || status.mutex.thread == 0)
            return;
        status.holder = findHolder(status.mutex.thread, status.mutex.file);
        if (status.holder.process != 0 || readSegment() == status.mutex)
            return;
    }
    status.mutex.thread = 0; // it goes from one to the next
    status.holder = {};
}

}

Status findStatus()
{
    Status status;
    status.daemons = findDaemons();
    findMutex(status);
    status.file = lookAtFile(PreferenceStore(false).io->path);
    return status;
}
