#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include <gtest/gtest.h>

#include "preferences/SharedPreferenceMutex.h"
#include "tests/TestMachine.h"

namespace
{

constexpr const char* segmentPath = "/dev/shm/qsl_pref_mutex";

/// Whether the body holds true in a process of its own, which ends without destructors.
template <typename Body>
bool inAnotherProcess(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body() ? 0 : 1);
    return Child(pid).wait() == 0;
}

/// Whether another process could have the mutex at this moment. It attaches, and goes in order.
bool freeForOthers()
{
    return inAnotherProcess(
        []
        {
            SharedPreferenceMutex other;
            if (!other.open(false) || other.owner || pthread_mutex_trylock(other.segment) != 0)
                return false;
            other.unlock();
            return true;
        });
}

TEST(SharedPreferenceMutexTest, IsOneRecursiveMutexOfAllProcesses)
{
    umask(0);
    {
        SharedPreferenceMutex mutex;
        ASSERT_TRUE(mutex.open(true));
        EXPECT_EQ(modeOf(segmentPath), "666");
        EXPECT_EQ(contents(segmentPath).size(), 40U);
        mutex.lock();
        mutex.lock();
        mutex.unlock();
        EXPECT_FALSE(freeForOthers());
        mutex.unlock();
        EXPECT_TRUE(freeForOthers());
        EXPECT_TRUE(freeForOthers()); // the name stays when one that attached goes
    }
    EXPECT_FALSE(exists(segmentPath));
}

TEST(SharedPreferenceMutexTest, ReplacesWhatAKilledOwnerLeftLocked)
{
    EXPECT_TRUE(inAnotherProcess(
        []
        {
            auto* left = new SharedPreferenceMutex;
            const bool opened = left->open(true);
            left->lock();
            return opened;
        }));
    EXPECT_FALSE(freeForOthers());
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(true));
    EXPECT_TRUE(freeForOthers());
}

TEST(SharedPreferenceMutexTest, StaysClosedWhenItCannotOpen)
{
    struct Row
    {
        const char* what;
        bool create;
        void (*prepare)();
        bool nameLeft;
    };
    const auto noSpace = []
    {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
    };
    const Row rows[] = {
        {"nothing to attach to", false, [] {}, false},
        {"a segment that is not sized yet", false, [] { std::ofstream(segmentPath) << "short"; }, true},
        {"a folder in its place", true, [] { mkdir(segmentPath, 0777); }, true},
        {"no space", true, noSpace, false},
    };
    for (const Row& row : rows)
    {
        const auto attempt = [&]
        {
            row.prepare();
            SharedPreferenceMutex mutex;
            const bool closed = !mutex.open(row.create) && !mutex.segment && !mutex.owner;
            mutex.lock(); // goes on without
            mutex.unlock();
            return closed;
        };
        EXPECT_TRUE(inAnotherProcess(attempt)) << row.what;
        EXPECT_EQ(exists(segmentPath), row.nameLeft) << row.what;
        remove(segmentPath);
    }
}

}
