#include <sys/prctl.h>
#include <sys/resource.h>

#include "testing/ProcessCounters.h"
#include "tests/DaemonTest.h"

/// What the runtime of a sanitizer would stand in the way of: it intercepts calls and has a thread of its own.
class BareDaemonTest : public DaemonTest
{
};

TEST_F(BareDaemonTest, EndsWhereACallOfItsWayIntoTheBackgroundFails)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    using Row = std::tuple<const char*, const char*, Lines>; // call; the launcher's complaint if it ends; messages
    environment["LD_PRELOAD"] = INTERPOSER;
    for (const auto& [call, complaint, messages] : {Row{"fork", "Failed to fork daemon (5)\n", {}},
                                                    {"setsid", "", {"2 Failed to set new session id (5)\n"}},
                                                    {"chdir", "", {"2 Failed to change current directory (5)\n"}}})
    {
        SCOPED_TRACE(call);
        environment["FAIL_CALL"] = call;
        EXPECT_EQ(run({}).wait(), *complaint ? 1 : 0);
        EXPECT_EQ(syslog.take(messages.size()), messages);
        EXPECT_EQ(errors(), complaint);
        int status = 0;
        EXPECT_EQ(waitpid(-1, &status, 0) < 0, *complaint != 0); // the one that it left
        EXPECT_EQ(WEXITSTATUS(status), *complaint ? 0 : 1);
    }
}

TEST_F(BareDaemonTest, GoesOnWhereAnotherCallFails)
{
    // What fails how often, the messages, what the simulator says to "list" if the daemon has opened it, exit status.
    using Row = std::tuple<const char*, const char*, Lines, const char*, int>;
    environment["LD_PRELOAD"] = INTERPOSER;
    for (const auto& [call, times, messages, devices, status] :
         {Row{"sigprocmask", "1", {listeningLine, "3 Error masking signals (5)\n"}, "ok", -1},
          {"sigwait", "1", {listeningLine, "2 Failed to wait for termination signal (5)\n"}, "ok", 1},
          {"shm_open", "9", {listeningLine}, "ok", 0}, // others make the segment at the same time
          {"shm_open", "9999999", {listeningLine}, "", 0}})
    {
        SCOPED_TRACE(std::string(call) + " " + times);
        environment["FAIL_CALL"] = call;
        environment["FAIL_TIMES"] = times;
        Child daemon = run({"-n"});
        EXPECT_EQ(syslog.take(messages.size()), messages);
        EXPECT_EQ(say("list"), devices);
        EXPECT_EQ(daemon.stop(status < 0 ? SIGKILL : SIGTERM), status);
        EXPECT_EQ(syslog.take(status < 0 ? 0 : 1), status < 0 ? Lines{} : Lines{stoppedLine});
    }
}

TEST_F(BareDaemonTest, MakesNoContextSwitchWhileItsCardsAreIdle)
{
    Child daemon = run({"-n"});
    ASSERT_EQ(syslog.take(1), Lines{listeningLine});
    for (int id = 0; id < 100; ++id)
    {
        EXPECT_EQ(say("plug " + std::to_string(id)), "ok");
        ASSERT_TRUE(waitFor([&] { return say("calls " + std::to_string(id)).ends_with("Subscribe setd"); }));
    }
    // The thread of the last steering connection ends first; then nothing has a reason to run.
    ASSERT_TRUE(awaitIdle(daemon.pid, 101));
    const long settled = contextSwitches(daemon.pid);
    EXPECT_FALSE(waitFor([&] { return contextSwitches(daemon.pid) != settled; }, std::chrono::seconds(2)));
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(BareDaemonTest, ADeviceForWhichNoThreadCanBeHadGoesWithoutListener)
{
    Child daemon = run({"-n"});
    ASSERT_EQ(syslog.take(1), Lines{listeningLine});
    {
        SteeringClient client(stage / "socket"); // its thread is there before there are no more
        const auto say = [&](const std::string& line, const std::string& answer)
        { EXPECT_EQ(client.ask(line), answer) << line; };
        say("list", "ok");
        const rlimit none = {0, RLIM_INFINITY}, any = {RLIM_INFINITY, RLIM_INFINITY};
        prlimit(daemon.pid, RLIMIT_AS, &none, nullptr);
        say("plug 17", "ok");
        say("plug 18 group=16 of=1 peers=18", "ok");
        prlimit(daemon.pid, RLIMIT_AS, &any, nullptr);
        say("references", "ok 1 discovery=1"); // nobody kept the two
        say("plug 19", "ok");
        say("plug 20 group=16 of=1 peers=20", "ok");
        for (const char* calls : {"calls 19", "calls 20"})
            EXPECT_TRUE(waitFor([&] { return client.ask(calls).find("Subscribe setd") != std::string::npos; }));
        say("unplug 17", "ok");
        say("unplug 18", "ok");
    }
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_EQ(contents(stage / "report"), "ok 0\n");
}
