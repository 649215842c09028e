#include <sys/resource.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "preferences/SharedPreferenceMutex.h"
#include "testing/Child.h"
#include "testing/PrivateMachine.h"

/// What the body returns in a process of its own, which ends without destructors.
static int inAnotherProcess(const std::function<int()>& body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return Child(pid).wait();
}

/// The error that another process gets which attaches and tries to have the mutex; 0 if it had it for a moment.
static int tryElsewhere()
{
    return inAnotherProcess(
        []
        {
            SharedPreferenceMutex other;
            const int error = other.open(false) && !other.owner ? pthread_mutex_trylock(other.segment) : -1;
            if (error == 0)
                other.unlock();
            return error;
        });
}

TEST(SharedPreferenceMutexTest, IsOneRecursiveMutexOfAllProcessesUntilItsOwnerGoes)
{
    umask(0);
    SharedPreferenceMutex attached;
    {
        SharedPreferenceMutex mutex;
        ASSERT_TRUE(mutex.open(true));
        ASSERT_TRUE(attached.open(false));
        EXPECT_EQ(modeOf(segmentPath), 0666U);
        EXPECT_EQ(contents(segmentPath).size(), 40U);
        EXPECT_TRUE(mutex.isReady());
        EXPECT_EQ(mutex.holder(), 0);
        const auto soon = [] { return std::chrono::steady_clock::now() + std::chrono::milliseconds(50); };
        EXPECT_TRUE(mutex.lockUntil(soon()));
        mutex.lock();
        mutex.unlock();
        EXPECT_EQ(mutex.holder(), getpid());
        EXPECT_EQ(tryElsewhere(), EBUSY);
        std::thread waiter(
            [&]
            {
                const auto deadline = soon();
                EXPECT_FALSE(mutex.lockUntil(deadline));
                EXPECT_GE(std::chrono::steady_clock::now(), deadline);
            });
        waiter.join();
        mutex.unlock();
        EXPECT_EQ(mutex.holder(), 0);
        EXPECT_EQ(tryElsewhere(), 0);
        EXPECT_EQ(tryElsewhere(), 0); // the name stays when one that attached goes
        EXPECT_TRUE(attached.isReady());
    }
    EXPECT_FALSE(attached.isReady());
    EXPECT_EQ(modeOf(segmentPath), 0U);
}

TEST(SharedPreferenceMutexTest, ReplacesWhatAKilledOwnerLeft)
{
    const auto dieHoldingIt = []
    {
        auto* left = new SharedPreferenceMutex;
        const bool opened = left->open(true);
        left->lock();
        return opened ? 0 : 1;
    };
    EXPECT_EQ(inAnotherProcess(dieHoldingIt), 0);
    EXPECT_EQ(tryElsewhere(), EBUSY) << "other programs don't know of a robust mutex";
    for (const char* text : {"", "killed before it was sized"})
    {
        if (*text)
            std::ofstream(segmentPath) << text;
        SharedPreferenceMutex mutex;
        ASSERT_TRUE(mutex.open(true));
        EXPECT_EQ(tryElsewhere(), 0);
    }
}

/// Whether it stays closed, and goes on without, in a process of its own that has made these preparations.
static bool staysClosed(bool create, void (*prepare)())
{
    const auto attempt = [&]
    {
        prepare();
        SharedPreferenceMutex mutex;
        const bool closed = !mutex.open(create) && !mutex.segment && !mutex.owner;
        mutex.lock();
        mutex.unlock();
        return closed && !mutex.isReady() && !mutex.lockUntil({}) && mutex.holder() == 0 ? 0 : 1;
    };
    return inAnotherProcess(attempt) == 0;
}

TEST(SharedPreferenceMutexTest, StaysClosedWhenItCannotOpen)
{
    const auto noSpace = []
    {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
    };
    EXPECT_TRUE(staysClosed(false, [] {}));
    EXPECT_TRUE(staysClosed(true, noSpace));
    EXPECT_EQ(modeOf(segmentPath), 0U);
    EXPECT_TRUE(staysClosed(false, [] { std::ofstream(segmentPath) << "not sized yet"; }));
    EXPECT_EQ(remove(segmentPath), 0) << "the name is its creator's";
    EXPECT_TRUE(staysClosed(true, [] { static_cast<void>(mkdir(segmentPath, 0777)); }));
    EXPECT_EQ(remove(segmentPath), 0);

    // One that attaches while the creator is at work finds the name and the size, and no mutex yet.
    std::ofstream(segmentPath) << std::string(40, '\0');
    SharedPreferenceMutex early;
    EXPECT_TRUE(early.open(false));
    EXPECT_FALSE(early.isReady());
    remove(segmentPath);
}

TEST(SharedPreferenceMutexTest, StaysClosedWithoutMemoryForTheSegment)
{
    if (!mayMount())
        GTEST_SKIP() << "nothing can be mounted";
    ASSERT_EQ(std::system("mount -o remount,size=4k none /dev/shm && head -c 4096 /dev/zero >/dev/shm/full"), 0);
    EXPECT_TRUE(staysClosed(true, [] {})); // it would end by SIGBUS
    EXPECT_EQ(modeOf(segmentPath), 0U);
    EXPECT_EQ(std::system("rm /dev/shm/full && mount -o remount,size=50% none /dev/shm"), 0);
}
