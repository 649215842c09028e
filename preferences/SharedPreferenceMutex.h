#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <chrono>

inline namespace ostrivane
{

/// Excludes all other programs on this machine from saving preferences: a recursive mutex in a named shared memory
/// segment.
///
/// Any thread; nobody else uses the object during open() and its destruction. Works with std::lock_guard.
///
/// The segment is a contract between processes: 40 bytes that hold one process-shared, recursive, non-robust
/// pthread_mutex_t and nothing else, open to every user as far as the creator's umask allows. A process that dies
/// holding the mutex leaves it locked; the next creator discards the segment and makes a new one.
class SharedPreferenceMutex
{
public:
    SharedPreferenceMutex() = default;
    SharedPreferenceMutex(const SharedPreferenceMutex&) = delete;
    SharedPreferenceMutex& operator=(const SharedPreferenceMutex&) = delete;
    /// Unmaps the segment; an owner also destroys the mutex and removes the segment's name.
    ~SharedPreferenceMutex();

    /// With `create` makes the segment, in place of whatever holds its name; otherwise attaches to one that stands, and
    /// isReady() is asked before the first lock(). False if the segment, or the memory for it, can't be had: nothing is
    /// held then, and lock() and unlock() do nothing. Called once.
    bool open(bool create);

    /// Whether the segment holds a mutex as the daemon makes it. While its creator makes or destroys it, the name
    /// exists and the mutex does not: locking it then would exclude nobody. False without a segment. Waits for nothing.
    bool isReady() const;

    /// Waits for whoever holds the mutex, in this or another process. The holding thread may lock again.
    void lock();
    void unlock();

    /// As lock(), but waits until the deadline at most. True if the caller holds the mutex and has to unlock it. False
    /// at once without a segment, or if the mutex can't be locked at all.
    bool lockUntil(std::chrono::steady_clock::time_point deadline);

    /// The thread that holds the mutex, by the kernel's id as its process sees it; 0 if none does or there is no
    /// segment. May be out of date on return, or a thread that died holding the mutex.
    pid_t holder() const;

    /// Whether the name still leads to this segment: a daemon that was started meanwhile has made a new one, and one
    /// that was stopped has removed the name. To be asked with the mutex held. False without a segment.
    bool isCurrent() const;

    pthread_mutex_t* segment = nullptr;
    const char* name = "/qsl_pref_mutex";
    bool owner = false; ///< This object made the segment and removes it.
    int fd = 0;         ///< Valid only while `segment` is set.

private:
    bool openDescriptor(bool create);
    bool mapSegment(bool create);
    bool initialiseMutex();
};

}
