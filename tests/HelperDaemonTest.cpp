#include <sys/prctl.h>

#include "preferences/SharedPreferenceMutex.h"
#include "tests/DaemonTest.h"

class HelperDaemonTest : public DaemonTest
{
protected:
    HelperDaemonTest() { umask(0); }

    void stopInOrder(Child& daemon, int signal = SIGTERM)
    {
        EXPECT_EQ(daemon.stop(signal), 0);
        EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
        EXPECT_EQ(modeOf(segmentPath), 0U);
    }

    size_t callsOf(const std::string& id, const std::string& call) const
    {
        const std::string calls = say("calls " + id);
        size_t count = 0;
        for (size_t at = 0; (at = calls.find(call, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }

    static void expectNullDeviceAtTheStandardStreams(const Child& process)
    {
        for (const char* descriptor : {"0", "1", "2"})
            EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(process.pid) + "/fd/" + descriptor),
                      "/dev/null");
    }

    static constexpr const char* unmigrated = "<group id='16'><attribute name='NetOutputVideoPort' value='9'/></group>"
                                              "<card id='17'><attribute name='Label' value='A'/></card>";
};

TEST_F(HelperDaemonTest, SavesTheStateOfACardThatChanges)
{
    writePreferences(unmigrated);
    Child daemon = runDaemon();
    EXPECT_EQ(modeOf(stage / "socket"), 0600U);
    plug("17");

    SharedPreferenceMutex other; // another program that saves preferences
    ASSERT_TRUE(other.open(false));
    other.lock();
    EXPECT_EQ(say("slow 17 Post 100ms"), "ok");
    EXPECT_EQ(say("change 17 Gain= a  * "), "ok");
    EXPECT_TRUE(staysAt(0U, [&] { return callsOf("17", "PersistState"); }));
    other.unlock();
    ASSERT_TRUE(waitFor([&] { return say("calls 17").ends_with("Post pref 0 0"); }));
    EXPECT_EQ(pthread_mutex_trylock(other.segment), 0) << "still held while it posts";
    other.unlock();
    const std::string saved = contents(preferencePath);
    for (const char* setting : {"\"Label\" value=\"A\"", "VideoPort_0\" value=\"9\"", "\"Gain\" value=\" a  * \""})
        EXPECT_NE(saved.find(setting), std::string::npos) << setting << " is not in " << saved;

    EXPECT_EQ(say("fail 17 PersistState 5 1"), "ok");
    EXPECT_EQ(say("change 17 Gain=0.6"), "ok");
    EXPECT_TRUE(waitFor([&] { return callsOf("17", "Post") == 2; }));
    EXPECT_EQ(contents(preferencePath), saved);
    EXPECT_EQ(say("change 17 Gain=0.7"), "ok");
    EXPECT_TRUE(waitFor([&] { return contents(preferencePath).find("0.7") != std::string::npos; }));
    EXPECT_TRUE(waitFor([&] { return callsOf("17", "Post") == 3; }));
    std::ofstream(preferencePath) << "refused"; // somebody's all the same
    EXPECT_EQ(say("change 17 Gain=0.8"), "ok");
    EXPECT_TRUE(waitFor([&] { return callsOf("17", "Post") == 4; }));
    stopInOrder(daemon);
    EXPECT_EQ(contents(preferencePath), "refused");
}

TEST_F(HelperDaemonTest, StopsInOrderWithItsCards)
{
    std::ofstream(stage / "pid") << "an older and longer one";
    Child daemon = runDaemon({"-n", "-p", stage / "pid"});
    EXPECT_EQ(contents(stage / "pid"), std::to_string(daemon.pid) + "\n");
    for (const char* line : {"plug 17", "plug 18", "unplug 17"})
        EXPECT_EQ(say(line), "ok");
    EXPECT_TRUE(waitFor([&] { return say("references") == "ok 5 18=4 discovery=1"; }));
    EXPECT_EQ(say("slow 18 Unsubscribe 50ms"), "ok");
    kill(daemon.pid, SIGTERM);
    EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
    EXPECT_EQ(modeOf(segmentPath), 0U) << "was said before the stop";
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(errors(), "Start\n");
    EXPECT_EQ(contents(stage / "report"), "ok 0\n");
    EXPECT_NE(modeOf(stage / "pid"), 0U);
}

TEST_F(HelperDaemonTest, GoesIntoTheBackground)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1); // so that the daemon's status comes here
    umask(0077);
    EXPECT_EQ(run({"-p", stage / "pid"}).wait(), 0);
    ASSERT_EQ(syslog.take(1), Lines{listeningLine});
    Child daemon(std::stoi(contents(stage / "pid")));
    EXPECT_EQ(getsid(daemon.pid), daemon.pid);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(daemon.pid) + "/cwd"), "/");
    expectNullDeviceAtTheStandardStreams(daemon);
    EXPECT_EQ(modeOf(stage / "pid"), 0666U);
    EXPECT_EQ(modeOf(segmentPath), 0666U);
    stopInOrder(daemon, SIGINT);
    EXPECT_EQ(errors(), "");
}

TEST_F(HelperDaemonTest, FillsTheStandardStreamsThatNobodyGaveIt)
{
    Child daemon({"/bin/sh", "-c", "exec \"$0\" -n <&- >&- 2>&-", stage / "OstrivaneHelper"}, stage / "errors");
    EXPECT_EQ(syslog.take(1), Lines{listeningLine});
    expectNullDeviceAtTheStandardStreams(daemon);
    stopInOrder(daemon);
}

TEST_F(HelperDaemonTest, TakesItsOptionsInEveryForm)
{
    struct Row
    {
        Lines options;
        const char* diagnostic = "";
        bool pidFile = false;
    };
    const std::string pid = stage / "pid";
    for (const auto& [options, diagnostic, pidFile] :
         {Row{.options = {"-np", pid}, .pidFile = true},
          {.options = {"--no-daemon", "--pid-file=" + pid}, .pidFile = true},
          {.options = {"word", "-n", "-p" + pid}, .pidFile = true},
          {.options = {"--pid-file", "/nowhere/pid", "--no-d", "--pid", pid}, .pidFile = true},
          {.options = {"-n", "-x"}, .diagnostic = "invalid option"},
          {.options = {"-n", "--help"}, .diagnostic = "unrecognized option"},
          {.options = {"-n", "-p"}, .diagnostic = "requires an argument"}})
    {
        SCOPED_TRACE(options.back());
        Child daemon = runDaemon(options);
        stopInOrder(daemon, SIGINT);
        EXPECT_NE(errors().find(diagnostic), std::string::npos) << errors();
        EXPECT_TRUE(*diagnostic ? errors().ends_with("\nStart\n") : errors() == "Start\n") << errors();
        EXPECT_EQ(std::filesystem::remove(pid), pidFile);
    }
    EXPECT_EQ(run({"-n", "-p", "/nowhere/pid"}).wait(), 1);
    EXPECT_EQ(syslog.take(1), Lines{"2 Failed to open pidfile: /nowhere/pid (2)\n"});
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(modeOf(segmentPath), 0U);
}

TEST_F(HelperDaemonTest, ListensAndStopsWhateverItsStartAchieved)
{
    struct Row
    {
        const char* what;
        std::string installed = SIMULATOR_LIBRARY; ///< Beside the daemon.
        const char* commands = "";
        const char* prepare = "";
        const char* lastError = "Start\n";
        const char* report = "ok 0\n";
    };
    for (const Row& row :
         {Row{.what = "no library", .installed = "", .lastError = "No such file or directory\n", .report = ""},
          {"a library that lacks symbols", FIXTURE, "", "", "AncillaryPacketsInstance_0002\nget 65696366 3\n", ""},
          {.what = "no discovery", .commands = "fail api CreateTessarigDiscoveryInstance 1"},
          {.what = "notifications refused", .commands = "fail api GetInt 1;plug 17"},
          {.what = "no segment", .commands = "plug 17", .prepare = "mkdir /dev/shm/qsl_pref_mutex", .report = ""},
          {.what = "cards from the start", .commands = "plug 17;plug 18;slow 17 PrepareDevice 20ms"},
          {.what = "a folder in the file's place", .prepare = "mkdir -p /etc/quillstone/QuillstonePreferences.xml"}})
    {
        SCOPED_TRACE(row.what);
        for (const std::string& former : {stage / "libTessarigAPI.so", stage / "report", std::string(segmentPath)})
            std::filesystem::remove(former);
        if (!row.installed.empty())
            std::filesystem::copy(row.installed, stage / "libTessarigAPI.so");
        ASSERT_EQ(std::system(row.prepare), 0);
        environment["TESSARIG_SIMULATOR_COMMANDS"] = row.commands;
        Child daemon = runDaemon();
        EXPECT_EQ(daemon.stop(), 0);
        EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
        EXPECT_TRUE(errors().starts_with("Start\n") && errors().ends_with(row.lastError)) << errors();
        EXPECT_EQ(contents(stage / "report"), row.report);
    }
}

TEST_F(HelperDaemonTest, ASignalDuringTheStartStopsInOrder)
{
    environment["TESSARIG_SIMULATOR_COMMANDS"] = "slow api CreateTessarigAPIInformationInstance 200ms";
    writePreferences(unmigrated);
    Child daemon = run({"-n"});
    ASSERT_TRUE(waitFor([&] { return modeOf(stage / "socket") != 0; })); // the library is open
    EXPECT_NE(modeOf(segmentPath), 0U);
    EXPECT_NE(contents(preferencePath).find("Port_0"), std::string::npos) << "not migrated before devices can come";
    kill(daemon.pid, SIGTERM);
    EXPECT_EQ(daemon.stop(SIGINT), 0); // stays pending
    EXPECT_EQ(syslog.take(2), (Lines{listeningLine, stoppedLine}));
    EXPECT_EQ(modeOf(segmentPath), 0U);
}
