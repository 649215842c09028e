#include <sys/resource.h>

#include <gtest/gtest.h>

#include "preferences/SharedPreferenceMutex.h"
#include "tests/TestMachine.h"

namespace
{

/// What the body returns in a process of its own, which ends without destructors.
template <typename Body>
int inAnotherProcess(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return Child(pid).wait();
}

/// The error that another process gets which attaches and tries to have the mutex; 0 if it had it for a moment.
int forOthers()
{
    return inAnotherProcess(
        []
        {
            SharedPreferenceMutex other;
            if (!other.open(false) || other.owner)
                return -1;
            const int error = pthread_mutex_trylock(other.segment);
            other.unlock();
            return error;
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
        EXPECT_EQ(forOthers(), EBUSY);
        mutex.unlock();
        EXPECT_EQ(forOthers(), 0);
        EXPECT_EQ(forOthers(), 0); // the name stays when one that attached goes
    }
    EXPECT_EQ(modeOf(segmentPath), "missing");
}

TEST(SharedPreferenceMutexTest, ACreatorReplacesWhatAKilledOneLeft)
{
    const auto diesHoldingIt = []
    {
        auto* left = new SharedPreferenceMutex;
        const bool opened = left->open(true);
        left->lock();
        return opened ? 0 : 1;
    };
    EXPECT_EQ(inAnotherProcess(diesHoldingIt), 0);
    EXPECT_EQ(forOthers(), EBUSY) << "programs of others don't know of a robust mutex";
    for (const bool sized : {true, false})
    {
        if (!sized)
            std::ofstream(segmentPath) << "short";
        SharedPreferenceMutex mutex;
        ASSERT_TRUE(mutex.open(true));
        EXPECT_EQ(forOthers(), 0);
    }
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
    for (const Row& row :
         {Row{"nothing to attach to", false, [] {}, false},
          {"a segment that is not sized yet", false, [] { std::ofstream(segmentPath) << "short"; }, true},
          {"a folder in its place", true, [] { mkdir(segmentPath, 0777); }, true},
          {"no space", true, noSpace, false}})
    {
        const auto attempt = [&]
        {
            row.prepare();
            SharedPreferenceMutex mutex;
            const bool closed = !mutex.open(row.create) && !mutex.segment && !mutex.owner;
            mutex.lock(); // goes on without
            mutex.unlock();
            return closed ? 0 : 1;
        };
        EXPECT_EQ(inAnotherProcess(attempt), 0) << row.what;
        EXPECT_EQ(modeOf(segmentPath) != "missing", row.nameLeft) << row.what;
        remove(segmentPath);
    }
}

}
