#pragma once

#include <pthread.h>

/// A recursive mutex that every program saving preferences on this machine shares, in a named shared memory segment.
///
/// The segment is a contract between processes: 40 bytes that hold one process-shared, recursive, non-robust
/// pthread_mutex_t and nothing else, open to every user as far as the creator's umask allows. A process that dies
/// holding the mutex leaves it locked; the next creator discards the segment and makes a new one.
///
/// open() and destruction belong to the owner's thread, while nobody else uses the object; lock() and unlock() may come
/// from any thread in between. Fits std::lock_guard.
class SharedPreferenceMutex
{
public:
    SharedPreferenceMutex() = default;
    SharedPreferenceMutex(const SharedPreferenceMutex&) = delete;
    SharedPreferenceMutex& operator=(const SharedPreferenceMutex&) = delete;
    /// Gives up the mapping; an owner also destroys the mutex and removes the segment's name.
    ~SharedPreferenceMutex();

    /// With `create` makes the segment, in place of whatever holds its name; otherwise attaches to one that stands.
    /// On false nothing is held, and lock() and unlock() do nothing. Called once.
    bool open(bool create);

    /// Waits for whoever holds the mutex, in this or another process. The holding thread may lock again.
    void lock();
    void unlock();

    pthread_mutex_t* segment = nullptr;
    const char* name = "/qsl_pref_mutex";
    bool owner = false; ///< This object made the segment, so it ends it.
    int fd = 0;         ///< Has a meaning only while `segment` is set.

private:
    bool openDescriptor(bool create);
    bool mapSegment(bool create);
    bool initialiseMutex();
};
