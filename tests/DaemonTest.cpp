#include "tests/DaemonTest.h"

#include <sys/prctl.h>

#include "preferences/SharedPreferenceMutex.h"

static const char* const preferencePath = "/etc/quillstone/QuillstonePreferences.xml";
static const char* const unmigrated =
    "<QuillstonePreferences><group id='16'><attribute name='NetOutputVideoPort' value='9'/></group>"
    "<card id='17'><attribute name='Label' value='A'/></card></QuillstonePreferences>";

TEST_F(DaemonTest, SavesTheStateOfACardThatChangesAndStopsInOrder)
{
    umask(0);
    std::ofstream(stage / "pid") << "an older and longer one";
    std::filesystem::create_directories("/etc/quillstone");
    std::ofstream(preferencePath) << unmigrated;
    Child daemon = run({"-n", "-p", stage / "pid"});
    ASSERT_EQ(syslog.take(1), Lines{listeningLine});
    EXPECT_EQ(contents(stage / "pid"), std::to_string(daemon.pid) + "\n");
    EXPECT_EQ(modeOf(segmentPath), 0666U);
    EXPECT_EQ(modeOf(stage / "socket"), 0600U);

    EXPECT_EQ(say("plug 17"), "ok");
    ASSERT_TRUE(waitFor([&] { return say("calls 17").ends_with("Subscribe setd"); }));
    for (const char* senseless :
         {" ", "juggle", "plug", "plug 17", "change 17 Gain", "fail 17 Typo 1", "fail 17 Post 1 0"})
        EXPECT_TRUE(say(senseless).starts_with("error ")) << senseless;

    SharedPreferenceMutex other; // another program that saves preferences
    ASSERT_TRUE(other.open(false));
    other.lock();
    EXPECT_EQ(say("slow 17 Post 100ms"), "ok");
    EXPECT_EQ(say("change 17 Gain=0.5"), "ok");
    EXPECT_TRUE(staysAt(std::string::npos, [&] { return say("calls 17").find("PersistState"); }));
    other.unlock();
    ASSERT_TRUE(waitFor([&] { return say("calls 17").ends_with("Post pref 0 0"); }));
    EXPECT_EQ(pthread_mutex_trylock(other.segment), 0) << "still held while it posts";
    other.unlock();
    EXPECT_EQ(contents(preferencePath),
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"true\" ?>\n<QuillstonePreferences>\n"
              "    <card id=\"17\">\n        <attribute name=\"Label\" value=\"A\" />\n"
              "        <attribute name=\"NetOutputVideoPort_0\" value=\"9\" />\n"
              "        <attribute name=\"Gain\" value=\"0.5\" />\n    </card>\n"
              "</QuillstonePreferences>\n");
    const auto saved = [](const char* value)
    { return contents("/etc/quillstone/QuillstonePreferences.xml").find(value) != std::string::npos; };
    EXPECT_EQ(say("fail 17 PersistState 5 1"), "ok");
    EXPECT_EQ(say("change 17 Gain=0.6"), "ok");
    const auto savesAre = [&](size_t count)
    {
        const std::string calls = say("calls 17");
        size_t found = 0;
        for (size_t at = 0; (at = calls.find("PersistState", at)) != std::string::npos; ++at)
            ++found;
        return found == count;
    };
    ASSERT_TRUE(waitFor([&] { return savesAre(2); }));
    EXPECT_FALSE(saved("0.6"));
    EXPECT_EQ(say("change 17 Gain= a  * "), "ok");
    EXPECT_TRUE(waitFor([&] { return saved("\" a  * \""); }));
    EXPECT_TRUE(waitFor([&] { return say("references") == "ok 5 17=4 discovery=1"; }));
    EXPECT_EQ(say("unplug 17"), "ok");
    EXPECT_EQ(say("references"), "ok 1 discovery=1");

    EXPECT_EQ(say("plug 18"), "ok"); // and is there at the stop
    EXPECT_EQ(say("slow 18 Unsubscribe 50ms"), "ok");
    kill(daemon.pid, SIGTERM);
    EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
    EXPECT_EQ(modeOf(segmentPath), 0U);
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(errors(), "Start\n");
    EXPECT_EQ(contents(stage / "report"), "ok 0\n");
    EXPECT_NE(modeOf(stage / "pid"), 0U);
}

TEST_F(DaemonTest, GoesIntoTheBackground)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1); // so that the daemon's status comes here
    umask(0077);
    EXPECT_EQ(run({"-p", stage / "pid"}).wait(), 0);
    ASSERT_EQ(syslog.take(1), Lines{listeningLine});
    Child daemon(std::stoi(contents(stage / "pid")));
    const std::filesystem::path process = "/proc/" + std::to_string(daemon.pid);
    EXPECT_EQ(getsid(daemon.pid), daemon.pid);
    EXPECT_EQ(std::filesystem::read_symlink(process / "cwd"), "/");
    for (const char* descriptor : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink(process / "fd" / descriptor), "/dev/null");
    EXPECT_EQ(modeOf(stage / "pid"), 0666U);
    EXPECT_EQ(modeOf(segmentPath), 0666U);
    EXPECT_EQ(daemon.stop(SIGINT), 0);
    EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
    EXPECT_EQ(errors(), "");

    // In the foreground, with nothing at the three.
    Child bare({"/bin/sh", "-c", "exec \"$0\" -n <&- >&- 2>&-", stage / "OstrivaneHelper"}, stage / "errors");
    EXPECT_EQ(syslog.take(1), Lines{listeningLine});
    for (const char* descriptor : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(bare.pid) + "/fd/" + descriptor),
                  "/dev/null");
    EXPECT_EQ(bare.stop(), 0);
    EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
}

TEST_F(DaemonTest, TakesItsOptionsInEveryForm)
{
    const std::string pid = stage / "pid";
    using Row = std::tuple<Lines, const char*, bool>; // options, diagnostic and whether there is a pid file
    for (const auto& [options, diagnostic, pidFile] :
         {Row{{"-np", pid}, "", true},
          {{"--no-daemon", "--pid-file=" + pid}, "", true},
          {{"word", "-n", "-p" + pid}, "", true},
          {{"--pid-file", "/nowhere/pid", "--no-d", "--pid", pid}, "", true},
          {{"-n", "-x"}, "invalid option", false},
          {{"-n", "--help"}, "unrecognized option", false},
          {{"-n", "-p"}, "requires an argument", false}})
    {
        SCOPED_TRACE(options.back());
        Child daemon = run(options);
        EXPECT_EQ(syslog.take(1), Lines{listeningLine});
        EXPECT_EQ(daemon.stop(SIGINT), 0);
        EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
        EXPECT_TRUE(*diagnostic ? errors().find(diagnostic) != std::string::npos : errors() == "Start\n") << errors();
        EXPECT_TRUE(errors().ends_with("Start\n"));
        EXPECT_EQ(modeOf(pid) != 0, pidFile);
        std::filesystem::remove(pid);
    }
    EXPECT_EQ(run({"-n", "-p", "/nowhere/pid"}).wait(), 1);
    EXPECT_EQ(syslog.take(1), Lines{"2 Failed to open pidfile: /nowhere/pid (2)\n"});
    EXPECT_EQ(errors(), "");
    EXPECT_EQ(modeOf(segmentPath), 0U);
}

TEST_F(DaemonTest, ListensAndStopsWhateverItsStartAchieved)
{
    // What, the library beside the daemon, its commands, preparation and undoing by the shell, complaint, report.
    using Row = std::tuple<const char*, std::string, const char*, const char*, const char*, const char*, const char*>;
    const std::string simulator = SIMULATOR_LIBRARY;
    for (const auto& [what, beside, commands, prepare, undo, complaint, report] :
         {Row{"no library", "", "", "", "", "libTessarigAPI.so", ""},
          {"a library that lacks symbols", FIXTURE, "", "", "", "AncillaryPacketsInstance_0002\nget 65696366 3\n", ""},
          {"no discovery", simulator, "fail api CreateTessarigDiscoveryInstance 1", "", "", "", "ok 0\n"},
          {"notifications refused", simulator, "fail api GetInt 1;plug 17", "", "", "", "ok 0\n"},
          {"no segment", simulator, "plug 17", "mkdir /dev/shm/qsl_pref_mutex", "rmdir /dev/shm/q*", "", ""},
          {"cards from the start", simulator, "plug 17;plug 18;slow 17 PrepareDevice 20ms", "", "", "", "ok 0\n"},
          {"a folder in the file's place", simulator, "",
           "rm -rf /etc/quillstone && mkdir -p /etc/quillstone/QuillstonePreferences.xml", "rm -r /etc/quillstone", "",
           "ok 0\n"}})
    {
        SCOPED_TRACE(what);
        for (const char* former : {"libTessarigAPI.so", "report"})
            std::filesystem::remove(stage / former);
        if (!beside.empty())
            std::filesystem::copy(beside, stage / "libTessarigAPI.so");
        ASSERT_EQ(std::system(prepare), 0);
        environment["TESSARIG_SIMULATOR_COMMANDS"] = commands;
        Child daemon = run({"-n"});
        EXPECT_EQ(syslog.take(1), Lines{listeningLine});
        EXPECT_EQ(daemon.stop(), 0);
        EXPECT_EQ(syslog.take(1), Lines{stoppedLine});
        EXPECT_TRUE(errors().starts_with("Start\n"));
        EXPECT_TRUE(*complaint ? errors().find(complaint) != std::string::npos : errors() == "Start\n") << errors();
        EXPECT_EQ(contents(stage / "report"), report);
        ASSERT_EQ(std::system(undo), 0);
        EXPECT_EQ(modeOf(segmentPath), 0U);
    }
}

TEST_F(DaemonTest, LeavesAFileThatCantBeWrittenAsItIs)
{
    if (!mayMount())
        GTEST_SKIP() << "nothing can be mounted";
    const std::string file = "<QuillstonePreferences><card id='1'><attribute name='a' value='b'/></card>"
                             "<group id='0'><attribute name='NetOutputVideoPort' value='1'/></group>"
                             "</QuillstonePreferences>";
    std::filesystem::create_directory("/etc/quillstone");
    std::ofstream("/etc/quillstone/QuillstonePreferences.xml") << file;
    ASSERT_EQ(std::system("mount -o remount,bind,ro /etc"), 0);
    Child daemon = run({"-n"});
    EXPECT_EQ(syslog.take(1), Lines{listeningLine});
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_EQ(contents("/etc/quillstone/QuillstonePreferences.xml"), file);
    ASSERT_EQ(std::system("mount -o remount,bind,rw /etc && rm -r /etc/quillstone"), 0);
}

TEST_F(DaemonTest, ASignalDuringTheStartStopsInOrder)
{
    environment["TESSARIG_SIMULATOR_COMMANDS"] = "slow api CreateTessarigAPIInformationInstance 200ms";
    std::filesystem::create_directories("/etc/quillstone");
    std::ofstream(preferencePath) << unmigrated;
    Child daemon = run({"-n"});
    ASSERT_TRUE(waitFor([&] { return modeOf(stage / "socket") != 0; })); // the library is open
    EXPECT_NE(modeOf(segmentPath), 0U);
    EXPECT_NE(contents(preferencePath).find("Port_0"), std::string::npos) << "not migrated before devices can come";
    kill(daemon.pid, SIGTERM);
    EXPECT_EQ(daemon.stop(SIGINT), 0); // stays pending
    EXPECT_EQ(syslog.take(2), (Lines{listeningLine, stoppedLine}));
    EXPECT_EQ(modeOf(segmentPath), 0U);
    std::filesystem::remove_all("/etc/quillstone");
}
