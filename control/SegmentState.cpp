#include "control/SegmentState.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "preferences/Owner.h"

namespace
{

/// What a recursive, process-shared mutex that is neither robust nor of a protocol has for its kind.
constexpr int sharedRecursiveKind = PTHREAD_MUTEX_RECURSIVE | 128;

std::string systemReason() { return std::generic_category().message(errno); }

const char* nameOfType(mode_t mode)
{
    if (S_ISDIR(mode))
        return "a directory";
    if (S_ISLNK(mode))
        return "a symbolic link";
    return S_ISREG(mode) ? "a file" : "neither file nor directory";
}

void readMutex(int file, SegmentState& state)
{
    pthread_mutex_t mutex = {};
    if (pread(file, &mutex, sizeof mutex, 0) != sizeof mutex)
    {
        state.kind = SegmentState::Unreadable;
        state.reason = "it can't be read";
        return;
    }
    const auto& fields = mutex.__data;
    if (fields.__kind == 0 || fields.__kind == -1)
    {
        state.kind = SegmentState::Unfinished;
        state.reason = "its creator has not finished it, or is ending";
    }
    else if (fields.__kind != sharedRecursiveKind)
    {
        state.kind = SegmentState::Foreign;
        state.reason = "its 40 bytes are no mutex of the daemon's kind";
    }
    else
        state.kind = fields.__lock == 0 ? SegmentState::Free : SegmentState::Held;
    state.thread = state.kind == SegmentState::Held ? fields.__owner : 0;
}

}

const char* const SegmentState::path = "/dev/shm/qsl_pref_mutex";

SegmentState readSegment()
{
    SegmentState state;
    struct stat status = {};
    if (lstat(SegmentState::path, &status) != 0)
    {
        if (errno == ENOENT)
            return state;
        state.kind = SegmentState::Unreadable;
        state.reason = systemReason();
        return state;
    }
    const Descriptor file(open(SegmentState::path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    const int error = errno;
    if (file && fstat(file.get(), &status) != 0)
        return state;
    state.file = {status.st_dev, status.st_ino};
    if (!S_ISREG(status.st_mode) || status.st_size != sizeof(pthread_mutex_t))
    {
        state.kind = SegmentState::Foreign;
        state.reason = std::string("it is ") + nameOfType(status.st_mode);
        if (S_ISREG(status.st_mode))
            state.reason += " of " + std::to_string(status.st_size) + " bytes, not 40";
    }
    else if (!file)
    {
        state.kind = SegmentState::Unreadable;
        state.reason = std::generic_category().message(error);
    }
    else
        readMutex(file.get(), state);
    return state;
}
