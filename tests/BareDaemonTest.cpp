#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <sstream>

#include "tests/DaemonTest.h"

namespace
{

/// What the runtime of a sanitizer would stand in the way of: it intercepts calls and has a thread of its own.
class BareDaemonTest : public DaemonTest
{
};

/// All context switches that the process's threads have made so far.
long contextSwitches(pid_t process)
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task"))
    {
        std::istringstream status(contents(task.path() / "status"));
        for (std::string word; status >> word;)
        {
            long count = 0;
            if (word.ends_with("ctxt_switches:") && status >> count)
                sum += count;
        }
    }
    return sum;
}

TEST_F(BareDaemonTest, EndsWhereACallOfItsWayIntoTheBackgroundFails)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    struct Row
    {
        const char* call;
        int launcherStatus;
        std::string errors;
        std::string message;
    };
    const Row rows[] = {{"fork", 1, "Failed to fork daemon (5)\n", ""},
                        {"setsid", 0, "", "2 Failed to set new session id (5)\n"},
                        {"chdir", 0, "", "2 Failed to change current directory (5)\n"}};
    environment["LD_PRELOAD"] = INTERPOSER;
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.call);
        environment["FAIL_CALL"] = row.call;
        Child launcher = run({});
        EXPECT_EQ(launcher.wait(), row.launcherStatus);
        if (!row.message.empty())
        {
            EXPECT_TRUE(syslog.waitFor(row.message));
            int status = 0;
            EXPECT_GT(waitpid(-1, &status, 0), 0); // the one that it left
            EXPECT_EQ(WEXITSTATUS(status), 1);
        }
        EXPECT_EQ(errors(), row.errors);
    }
}

TEST_F(BareDaemonTest, GoesOnWhenASignalCallFails)
{
    environment["LD_PRELOAD"] = INTERPOSER;
    environment["FAIL_CALL"] = "sigprocmask";
    {
        Child daemon = run({"-n"});
        EXPECT_TRUE(syslog.waitFor("3 Error masking signals (5)\n"));
        EXPECT_EQ(syslog.messages().front(), listeningLine);
        EXPECT_EQ(say("list"), "ok");
    }
    environment["FAIL_CALL"] = "sigwait"; // once
    Child daemon = run({"-n"});
    EXPECT_TRUE(syslog.waitFor("2 Failed to wait for termination signal (5)\n"));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 1);
    EXPECT_TRUE(syslog.waitFor(stoppedLine));
}

TEST_F(BareDaemonTest, MakesNoContextSwitchWhileItsCardsAreIdle)
{
    constexpr int cards = 100;
    Child daemon = run({"-n"});
    ASSERT_TRUE(syslog.waitFor(listeningLine));
    {
        SteeringClient client(stage / "socket");
        for (int id = 0; id < cards; ++id)
            EXPECT_EQ(client.ask("plug " + std::to_string(id)), "ok");
        for (int id = 0; id < cards; ++id)
            ASSERT_TRUE(waitFor([&] { return client.ask("calls " + std::to_string(id)).ends_with("Subscribe setd"); }));
    }
    // The thread of the steering connection ends first; then nothing has a reason to run.
    long settled = -1;
    ASSERT_TRUE(waitFor(
        [&]
        {
            const long former = std::exchange(settled, contextSwitches(daemon.pid));
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return former == settled;
        }));
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(contextSwitches(daemon.pid), settled);
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 0);
}

TEST_F(BareDaemonTest, ADeviceForWhichNoThreadCanBeHadGoesWithoutListener)
{
    Child daemon = run({"-n"});
    ASSERT_TRUE(syslog.waitFor(listeningLine));
    {
        SteeringClient client(stage / "socket"); // its thread is there before there are no more
        EXPECT_EQ(client.ask("list"), "ok");
        const rlimit none = {0, RLIM_INFINITY};
        const rlimit any = {RLIM_INFINITY, RLIM_INFINITY};
        prlimit(daemon.pid, RLIMIT_AS, &none, nullptr);
        EXPECT_EQ(client.ask("plug 17"), "ok");
        EXPECT_EQ(client.ask("plug 18 group=16 of=1 peers=18"), "ok");
        prlimit(daemon.pid, RLIMIT_AS, &any, nullptr);
        EXPECT_EQ(client.ask("references"), "ok 1 discovery=1"); // nobody kept the two
        EXPECT_EQ(client.ask("plug 19"), "ok");
        EXPECT_EQ(client.ask("plug 20 group=16 of=1 peers=20"), "ok");
        for (const char* id : {"19", "20"})
            EXPECT_TRUE(waitFor(
                [&] { return client.ask(std::string("calls ") + id).find("Subscribe setd") != std::string::npos; }));
        EXPECT_EQ(client.ask("unplug 17"), "ok");
        EXPECT_EQ(client.ask("unplug 18"), "ok");
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(contents(stage / "report"), "ok 0\n");
}

}
