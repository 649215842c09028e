#include "tests/DaemonTest.h"

#include <sys/prctl.h>

#include <csignal>

namespace
{

class DaemonFaultTest : public DaemonTest
{
};

TEST_F(DaemonFaultTest, EndsWhereACallOfItsWayIntoTheBackgroundFails)
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
            EXPECT_EQ(Child::waitFor(-1), 1); // the one that it left
        }
        EXPECT_EQ(errors(), row.errors);
    }
}

TEST_F(DaemonFaultTest, GoesOnWhenASignalCallFails)
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

}
