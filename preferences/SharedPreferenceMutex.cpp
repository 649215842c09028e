#include "preferences/SharedPreferenceMutex.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#define TELLS_THREAD_SANITIZER
#endif
#endif

#include "preferences/Owner.h"

namespace
{

constexpr size_t segmentSize = 40;
static_assert(sizeof(pthread_mutex_t) == segmentSize, "the segment's format is that of x86-64 Linux");

/// How often a creator removes the name that others make at the same time, before it gives up.
constexpr int maxCreationRounds = 16;

constexpr mode_t allowAll = 0666;

/// The kind that the threads library gives a mutex that is recursive and process-shared and nothing else.
constexpr int sharedRecursiveKind = PTHREAD_MUTEX_RECURSIVE | 128;

/// Waits until that time of the monotonic clock at most. True if the mutex is locked.
bool lockWithClock(pthread_mutex_t* mutex, const timespec& end)
{
#ifdef TELLS_THREAD_SANITIZER // which does not know this call, and would take the unlock for one too many
    __tsan_mutex_pre_lock(mutex, __tsan_mutex_try_lock);
    const bool locked = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &end) == 0;
    __tsan_mutex_post_lock(mutex, __tsan_mutex_try_lock | (locked ? 0 : __tsan_mutex_try_lock_failed), 0);
    return locked;
#else
    return pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &end) == 0;
#endif
}

/// Gives the segment memory: without it the first access would end this process by SIGBUS, and any user can fill the
/// file system.
bool allocate(int fd)
{
    int error = EINTR;
    while (error == EINTR)
        error = posix_fallocate(fd, 0, segmentSize);
    return error == 0;
}

}

SharedPreferenceMutex::~SharedPreferenceMutex()
{
    if (!segment)
        return;
    if (owner)
        pthread_mutex_destroy(segment);
    munmap(segment, segmentSize);
    close(fd);
    if (owner)
        shm_unlink(name);
}

bool SharedPreferenceMutex::open(bool create)
{
    if (!openDescriptor(create))
        return false;
    if (mapSegment(create) && (!create || initialiseMutex()))
    {
        owner = create;
        return true;
    }

    if (segment)
        munmap(segment, segmentSize);
    segment = nullptr;
    close(fd);
    if (create)
        shm_unlink(name); // nobody can use what was made there
    return false;
}

bool SharedPreferenceMutex::isReady() const
{
    // The threads library sets the kind last of all, and to -1 when the mutex is destroyed.
    return segment && __atomic_load_n(&segment->__data.__kind, __ATOMIC_ACQUIRE) == sharedRecursiveKind;
}

void SharedPreferenceMutex::lock()
{
    if (segment)
        pthread_mutex_lock(segment);
}

void SharedPreferenceMutex::unlock()
{
    if (segment)
        pthread_mutex_unlock(segment);
}

bool SharedPreferenceMutex::lockUntil(std::chrono::steady_clock::time_point deadline)
{
    using namespace std::chrono;
    const auto since = deadline.time_since_epoch();
    const auto whole = floor<seconds>(since);
    const timespec time = {whole.count(), duration_cast<nanoseconds>(since - whole).count()};
    return segment && lockWithClock(segment, time);
}

bool SharedPreferenceMutex::isCurrent() const
{
    const Descriptor named(segment ? shm_open(name, O_RDONLY | O_NONBLOCK, 0) : -1); // no wait for a stranger's pipe
    struct stat ours = {};
    struct stat theirs = {};
    return named && fstat(fd, &ours) == 0 && fstat(named.get(), &theirs) == 0 && ours.st_ino == theirs.st_ino &&
           ours.st_dev == theirs.st_dev;
}

pid_t SharedPreferenceMutex::holder() const
{
    return segment ? __atomic_load_n(&segment->__data.__owner, __ATOMIC_RELAXED) : 0;
}

bool SharedPreferenceMutex::openDescriptor(bool create)
{
    const int flags = create ? O_RDWR | O_CREAT | O_EXCL : O_RDWR;
    fd = shm_open(name, flags, allowAll);
    // An existing name is left over from a run that did not stop cleanly: its mutex may be locked for good.
    for (int round = 0; fd < 0 && errno == EEXIST && round < maxCreationRounds; ++round)
    {
        if (shm_unlink(name) != 0 && errno != ENOENT)
            return false;
        fd = shm_open(name, flags, allowAll);
    }
    return fd >= 0;
}

bool SharedPreferenceMutex::mapSegment(bool create)
{
    if (create)
    {
        if (ftruncate(fd, segmentSize) < 0)
            return false;
    }
    else
    {
        // A creator sizes its segment after making the name; touching it before would end this process by SIGBUS.
        struct stat status = {};
        if (fstat(fd, &status) != 0 || status.st_size < static_cast<off_t>(segmentSize))
            return false;
    }
    if (!allocate(fd))
        return false;
    void* mapped = mmap(nullptr, segmentSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
        return false;
    segment = static_cast<pthread_mutex_t*>(mapped);
    return true;
}

bool SharedPreferenceMutex::initialiseMutex()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const int result = pthread_mutex_init(segment, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return result == 0;
}
