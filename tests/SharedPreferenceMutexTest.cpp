#include "preferences/SharedPreferenceMutex.h"
#include "tests/TestMachine.h"
#include "tests/Waiting.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace
{

constexpr const char* segmentPath = "/dev/shm/qsl_pref_mutex";

/// Runs in a process of its own, and gives its exit status.
template <typename Body>
int inAnotherProcess(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return Child::waitFor(pid);
}

/// Whether another process could have the mutex at this moment.
bool freeForOthers()
{
    return inAnotherProcess(
               []
               {
                   SharedPreferenceMutex other;
                   return other.open(false) && pthread_mutex_trylock(other.segment) == 0 ? 1 : 0;
               }) == 1;
}

TEST(SharedPreferenceMutexTest, IsOneRecursiveMutexOfAllProcesses)
{
    umask(0);
    struct stat status = {};
    {
        SharedPreferenceMutex mutex;
        ASSERT_TRUE(mutex.open(true));
        ASSERT_EQ(stat(segmentPath, &status), 0);
        EXPECT_EQ(status.st_size, 40);
        EXPECT_EQ(status.st_mode & 0777, 0666U);

        mutex.lock();
        mutex.lock();
        EXPECT_FALSE(freeForOthers());
        mutex.unlock();
        EXPECT_FALSE(freeForOthers());
        mutex.unlock();
        EXPECT_EQ(inAnotherProcess(
                      []
                      {
                          SharedPreferenceMutex other;
                          const bool attached = other.open(false) && !other.owner;
                          other.lock();
                          other.unlock();
                          return attached ? 0 : 1;
                      }),
                  0);
        EXPECT_EQ(stat(segmentPath, &status), 0); // the one that went was not its owner
        mutex.lock();
        EXPECT_FALSE(freeForOthers());
        mutex.unlock();
    }
    EXPECT_NE(stat(segmentPath, &status), 0);
}

TEST(SharedPreferenceMutexTest, ReplacesWhatAKilledOwnerLeftLocked)
{
    EXPECT_EQ(inAnotherProcess(
                  []
                  {
                      auto* left = new SharedPreferenceMutex;
                      const bool opened = left->open(true);
                      left->lock();
                      return opened ? 0 : 1; // ends without a destructor
                  }),
              0);
    EXPECT_FALSE(freeForOthers());
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(true));
    EXPECT_TRUE(mutex.owner);
    EXPECT_EQ(pthread_mutex_trylock(mutex.segment), 0);
    mutex.unlock();
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
    const Row rows[] = {
        {"nothing to attach to", false, [] {}, false},
        {"a segment that is not sized yet", false, [] { std::ofstream(segmentPath) << "short"; }, true},
        {"a folder in its place", true, [] { mkdir(segmentPath, 0777); }, true},
        {"no space", true,
         []
         {
             signal(SIGXFSZ, SIG_IGN);
             const rlimit none = {0, 0};
             setrlimit(RLIMIT_FSIZE, &none);
         },
         false},
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
            return closed ? 0 : 1;
        };
        EXPECT_EQ(inAnotherProcess(attempt), 0) << row.what;
        EXPECT_EQ(exists(segmentPath), row.nameLeft) << row.what;
        remove(segmentPath);
    }
}

}
