#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <chrono>

inline namespace ostrivane
{

/// A recursive mutex that every program saving preferences on this machine shares, in a named shared memory segment.
///
/// The segment is a contract between processes: 40 bytes that hold one process-shared, recursive, non-robust
/// pthread_mutex_t and nothing else, open to every user as far as the creator's umask allows. A process that dies
/// holding the mutex leaves it locked; the next creator discards the segment and makes a new one.
///
/// open() and destruction belong to the owner's thread, while nobody else uses the object; the rest may come from any
/// thread in between. Fits std::lock_guard.
class SharedPreferenceMutex
{
public:
    SharedPreferenceMutex() = default;
    SharedPreferenceMutex(const SharedPreferenceMutex&) = delete;
    SharedPreferenceMutex& operator=(const SharedPreferenceMutex&) = delete;
    /// Gives up the mapping; an owner also destroys the mutex and removes the segment's name.
    ~SharedPreferenceMutex();

    /// With `create` makes the segment, in place of whatever holds its name; otherwise attaches to one that stands, and
    /// isReady() is asked before the first lock(). False if the segment, or the memory for it, can't be had: nothing is
    /// held then, and lock() and unlock() do nothing. Called once.
    bool open(bool create);

    /// Whether the segment holds the mutex that a daemon makes. While its creator makes or destroys it the name is
    /// there and the mutex is not: whoever locked it then would be alone with it. False as well without a segment, and
    /// for bytes that are no such mutex. Looks once, waits for nothing.
    bool isReady() const;

    /// Waits for whoever holds the mutex, in this or another process. The holding thread may lock again.
    void lock();
    void unlock();

    /// As lock(), but waits until the deadline at the most. True if the caller holds the mutex now and has to unlock
    /// it; false at the deadline, and at once without a segment or if the mutex can't be locked at all.
    bool lockUntil(std::chrono::steady_clock::time_point deadline);

    /// The thread that holds the mutex, by the kernel's id as its process sees it; 0 if none does or there is no
    /// segment. One look: it may be out of date on return, and names the dead if a thread died holding the mutex.
    pid_t holder() const;

    /// Whether the name still leads to this segment. Asked once the mutex is locked: a daemon that was started
    /// meanwhile has made a new segment, which others use by now, and one that was stopped has taken the name away.
    /// False as well without a segment.
    bool isCurrent() const;

    pthread_mutex_t* segment = nullptr;
    const char* name = "/qsl_pref_mutex";
    bool owner = false; ///< This object made the segment, so it ends it.
    int fd = 0;         ///< Has a meaning only while `segment` is set.

private:
    bool openDescriptor(bool create);
    bool mapSegment(bool create);
    bool initialiseMutex();
};

}
