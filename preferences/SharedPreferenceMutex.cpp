#include "preferences/SharedPreferenceMutex.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace
{

constexpr size_t segmentSize = 40;
static_assert(sizeof(pthread_mutex_t) == segmentSize, "the segment's format is that of x86-64 Linux");

/// How often a creator takes the name away from others that make it at the same time, before it gives up.
constexpr int creationRounds = 16;

constexpr mode_t openToAll = 0666;

timespec timeOf(std::chrono::nanoseconds since)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(since);
    return {whole.count(), (since - whole).count()};
}

/// Without memory behind the segment the first touch would end this process by SIGBUS, and any user can fill the file
/// system.
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
        shm_unlink(name); // nobody could use what this creator has made there, unless another one has replaced it since
    return false;
}

bool SharedPreferenceMutex::isReady() const
{
    // The threads library sets the kind last of all. It is never 0 for a recursive or shared mutex, and negative for
    // one that was destroyed.
    return segment && __atomic_load_n(&segment->__data.__kind, __ATOMIC_ACQUIRE) > 0;
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
#ifdef OSTRIVANE_THREAD_SANITIZER
    // It does not know the call below, and would take the unlock for one without a lock.
    const auto left = deadline - std::chrono::steady_clock::now();
    const timespec time = timeOf((std::chrono::system_clock::now() + left).time_since_epoch());
    return segment && pthread_mutex_timedlock(segment, &time) == 0;
#else
    const timespec time = timeOf(deadline.time_since_epoch());
    return segment && pthread_mutex_clocklock(segment, CLOCK_MONOTONIC, &time) == 0;
#endif
}

pid_t SharedPreferenceMutex::holder() const
{
    return segment ? __atomic_load_n(&segment->__data.__owner, __ATOMIC_RELAXED) : 0;
}

bool SharedPreferenceMutex::isCurrent() const
{
    const int named = segment ? shm_open(name, O_RDONLY | O_NONBLOCK, 0) : -1; // nor is a stranger's pipe waited for
    if (named < 0)
        return false;
    struct stat ours = {}, theirs = {};
    const bool known = fstat(fd, &ours) == 0 && fstat(named, &theirs) == 0;
    close(named);
    return known && ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
}

bool SharedPreferenceMutex::openDescriptor(bool create)
{
    const int flags = create ? O_RDWR | O_CREAT | O_EXCL : O_RDWR;
    fd = shm_open(name, flags, openToAll);
    // An existing name is left over from a run that did not stop cleanly: its mutex may be locked for good.
    for (int round = 0; fd < 0 && errno == EEXIST && round < creationRounds; ++round)
    {
        if (shm_unlink(name) != 0 && errno != ENOENT)
            return false;
        fd = shm_open(name, flags, openToAll);
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
