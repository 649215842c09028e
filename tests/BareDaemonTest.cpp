#include <sys/resource.h>

#include <cstring>

#include "testing/ProcessCounters.h"
#include "tests/DaemonTest.h"
#include "tests/Traced.h"

/// What a sanitizer's runtime would stand in the way of, with its own threads, memory and calls of the system.
class BareDaemonTest : public DaemonTest
{
protected:
    /// Under strace, which writes to "trace", with its options in front of the daemon's.
    Child runTraced(Lines options)
    {
        options.insert(options.begin(), {"/usr/bin/strace", "-o", stage / "trace"});
        return Child(options, stage / "errors", environment);
    }

    const std::string program = stage / "OstrivaneHelper";
};

TEST_F(BareDaemonTest, EndsWhereACallOfItsWayIntoTheBackgroundFails)
{
    SKIP_UNLESS_TRACING_WORKS();
    struct Row
    {
        std::string call;
        const char* complaint; ///< Of the process that was started, if it is that one that ends.
        Lines messages;
    };
    for (const auto& [call, complaint, messages] : {Row{"clone", "Failed to fork daemon (5)\n", {}},
                                                    {"setsid", "", {"2 Failed to set new session id (5)\n"}},
                                                    {"chdir", "", {"2 Failed to change current directory (5)\n"}}})
    {
        SCOPED_TRACE(call);
        EXPECT_EQ(runTraced({"-f", "-e", "inject=" + call + ":error=EIO", program}).wait(), *complaint ? 1 : 0);
        EXPECT_EQ(syslog.take(messages.size()), messages);
        EXPECT_EQ(errors(), complaint);
        EXPECT_NE(contents(stage / "trace").find("+++ exited with 1 +++"), std::string::npos);
    }
}

TEST_F(BareDaemonTest, GoesOnWhereAnotherCallFails)
{
    SKIP_UNLESS_TRACING_WORKS();
    struct Row
    {
        std::string injection;
        Lines messages = {listeningLine};
        const char* devices = "ok"; ///< What the simulator says to "list" if the daemon has opened it.
        int signal = SIGTERM;
        int status = 0;
    };
    const Lines masking = {listeningLine, "3 Error masking signals (5)\n"};
    const Lines waiting = {listeningLine, "2 Failed to wait for termination signal (5)\n"};
    for (const Row& row :
         {Row{.injection = "rt_sigprocmask:error=EIO:when=1", .messages = masking, .signal = SIGKILL, .status = -1},
          {.injection = "rt_sigtimedwait:error=EIO:when=1", .messages = waiting, .status = 1},
          {.injection = "openat:error=EEXIST:when=1..9"}, // others make the segment at the same time
          {.injection = "openat:error=EEXIST", .devices = ""}})
    {
        SCOPED_TRACE(row.injection);
        Lines words = {"-D", "-e", "inject=" + row.injection, program, "-n"};
        if (row.injection.starts_with("openat"))
            words.insert(words.begin(), {"-P", segmentPath});
        Child daemon = runTraced(words);
        EXPECT_EQ(syslog.take(row.messages.size()), row.messages);
        EXPECT_EQ(say("list"), row.devices);
        EXPECT_EQ(daemon.stop(row.signal), row.status);
        const Lines last = row.signal == SIGTERM ? Lines{stoppedLine} : Lines{};
        EXPECT_EQ(syslog.take(last.size()), last);
    }
}

TEST_F(BareDaemonTest, MakesNoContextSwitchWhileItsCardsAreIdle)
{
    Child daemon = runDaemon();
    for (const char* id : {"1", "2", "3"})
        plug(id);
    ASSERT_TRUE(awaitIdle(daemon.pid, 4));
    const long settled = contextSwitches(daemon.pid);
    EXPECT_FALSE(waitFor([&] { return contextSwitches(daemon.pid) != settled; }, std::chrono::seconds(2)));
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(BareDaemonTest, GivesTheMemoryOfALargeFileBack)
{
    std::string settings;
    for (int name = 0; name < 100'000; ++name)
        settings += "<attribute name='" + std::to_string(name) + "' value='1'/>";
    writePreferences("<card id='1'>" + settings + "</card>");
    Child daemon = runDaemon();
    const std::string status = contents("/proc/" + std::to_string(daemon.pid) + "/status");
    const size_t resident = status.find("VmRSS:");
    EXPECT_LT(std::stol(status.substr(resident + strlen("VmRSS:"))), 10'000) << "kB";
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(BareDaemonTest, ADeviceForWhichNoThreadCanBeHadGoesWithoutListener)
{
    Child daemon = runDaemon();
    SteeringClient client(stage / "socket"); // its thread is there before there are no more
    const auto say = [&](const std::string& line) { return client.ask(line); };
    const auto waitForCall = [&](const std::string& id, const char* call)
    { return waitFor([&] { return say("calls " + id).find(call) != std::string::npos; }); };
    const auto limitMemory = [&](rlim_t most)
    {
        const rlimit limit = {most, RLIM_INFINITY};
        prlimit(daemon.pid, RLIMIT_AS, &limit, nullptr);
    };
    EXPECT_EQ(say("slow 16 PrepareGroup 100ms"), "ok");
    EXPECT_EQ(say("plug 16 group=0 of=1"), "ok");
    EXPECT_TRUE(waitForCall("16", "PrepareGroup"));
    limitMemory(0);
    ASSERT_TRUE(waitForCall("16", "Next")) << "the group's thread has ended the daemon";
    EXPECT_EQ(say("plug 17"), "ok");
    EXPECT_EQ(say("plug 18 group=16 of=1 peers=18"), "ok");
    limitMemory(RLIM_INFINITY);
    EXPECT_TRUE(waitFor([&] { return say("references") == "ok 1 discovery=1"; })) << "nobody kept the three";
    EXPECT_EQ(say("plug 19"), "ok");
    EXPECT_EQ(say("plug 20 group=16 of=1 peers=20"), "ok");
    for (const char* id : {"19", "20"})
        EXPECT_TRUE(waitForCall(id, "Subscribe setd"));
    for (const char* id : {"16", "17", "18"})
        EXPECT_EQ(say(std::string("unplug ") + id), "ok");
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_EQ(contents(stage / "report"), "ok 0\n");
}
