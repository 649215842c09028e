#include <sys/resource.h>

#include <cerrno>
#include <cstdio>
#include <thread>

#include <gtest/gtest.h>

#include "preferences/SharedPreferenceMutex.h"
#include "testing/Child.h"
#include "testing/PrivateMachine.h"

/// What the body returns in a process of its own, which ends without destructors.
template <typename Body>
static int inAnotherProcess(Body body)
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
        std::thread(
            [&]
            {
                const auto deadline = soon();
                EXPECT_FALSE(mutex.lockUntil(deadline));
                EXPECT_GE(std::chrono::steady_clock::now(), deadline);
            })
            .join();
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

TEST(SharedPreferenceMutexTest, StaysClosedWhenItCannotOpen)
{
    const auto nothing = [] {};
    const auto unsized = [] { std::ofstream(segmentPath) << "short"; };
    const auto folder = [] { static_cast<void>(mkdir(segmentPath, 0777)); };
    const auto noSpace = []
    {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
    };
    struct Row
    {
        const char* what;
        void (*prepare)();
        bool create = false;
        bool nameLeft = false;
    };
    for (const Row& row : {Row{.what = "nothing", .prepare = nothing},
                           {.what = "not sized yet", .prepare = unsized, .nameLeft = true},
                           {.what = "a folder", .prepare = folder, .create = true, .nameLeft = true},
                           {.what = "no space", .prepare = noSpace, .create = true}})
    {
        const auto attempt = [row]
        {
            row.prepare();
            SharedPreferenceMutex mutex;
            const bool closed = !mutex.open(row.create) && !mutex.segment && !mutex.owner;
            mutex.lock(); // goes on without
            mutex.unlock();
            return closed && !mutex.isReady() && !mutex.lockUntil({}) && mutex.holder() == 0 ? 0 : 1;
        };
        EXPECT_EQ(inAnotherProcess(attempt), 0) << row.what;
        EXPECT_EQ(modeOf(segmentPath) != 0, row.nameLeft) << row.what;
        remove(segmentPath);
    }

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
    const auto attempt = []
    {
        SharedPreferenceMutex mutex;
        return mutex.open(true) || mutex.segment ? 1 : 0;
    };
    EXPECT_EQ(inAnotherProcess(attempt), 0); // it would end by SIGBUS
    EXPECT_EQ(modeOf(segmentPath), 0U);
    EXPECT_EQ(std::system("rm /dev/shm/full && mount -o remount,size=50% none /dev/shm"), 0);
}
