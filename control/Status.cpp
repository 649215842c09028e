#include "control/Status.h"

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// How often a holder that is gone is looked for: it may have let go and ended between two looks.
constexpr int looks = 3;

void findMutex(Status& status)
{
    status.mutex = readSegment();
    for (int look = 0; look < looks; ++look)
    {
        const SegmentState before = status.mutex;
        if (before.kind != SegmentState::Held || before.thread == 0)
            return;
        status.holder = findHolder(before.thread, before.file);
        if (!status.holder.gone)
            return;
        status.mutex = readSegment();
        if (status.mutex.kind == before.kind && status.mutex.thread == before.thread)
            return;
    }
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
