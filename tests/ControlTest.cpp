#include <sys/prctl.h>

#include "tests/ControlTest.h"

#include "preferences/Owner.h"
#include "preferences/SharedPreferenceMutex.h"

/// Not in a namespace in which root is the only user.
static bool mayBecomeAnother() { return geteuid() == 0 && contents("/proc/self/uid_map").ends_with(" 4294967295\n"); }

TEST_F(ControlTest, LockHoldsTheMutexForAsLongAsAnythingOfTheCommandRuns)
{
    EXPECT_EQ(control({"lock", "--", "echo", "[a]", "--", "-x", ""}),
              (Outcome{0, "[a] -- -x \n",
                       "ostrivanectl: no daemon runs, so there is no shared mutex: the command runs without it\n"}));
    Child daemon = runDaemon();
    for (const auto& [words, status] : {std::pair("lock -- sh -c 'exit 5'", 5),
                                        {"lock -- sh -c 'kill -9 $$'", -1},
                                        {"lock -- /nowhere", 127},
                                        {"lock -- /etc", 126},
                                        {"lock --timeout nan -- true", 2},
                                        {"lock true", 2},
                                        {"lock --", 2}})
        EXPECT_EQ(controlInShell(words).status, status) << words;

    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(false));
    const auto isHeld = [&] { return mutex.holder() != 0; };
    ASSERT_TRUE(waitFor([&] { return !isHeld(); }));
    const std::string end = stage / "end";
    mkfifo(end.c_str(), 0600);

    // One that closes all that it inherited, and one whose child goes on when it is killed.
    Child closing = startControl({"lock", "--", "bash", "-c", "exec 100>&-; read line <" + end});
    ASSERT_TRUE(waitFor(isHeld));
    EXPECT_FALSE(waitFor([&] { return !isHeld(); }, std::chrono::milliseconds(100)));
    const pid_t guardian = mutex.holder();
    ASSERT_GT(guardian, 0) << "a signal to 0 would go to the test's own group";
    ASSERT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(guardian) + "/fd/1"), "/dev/null");
    kill(guardian, SIGTERM);
    closing.stop(SIGKILL);
    EXPECT_TRUE(waitFor([&] { return !isHeld(); }));

    Child leaving = startControl({"lock", "--", "sh", "-c", "(read line <" + end + ") & wait"});
    Descriptor writer(open(end.c_str(), O_WRONLY | O_CLOEXEC)); // once the child has opened it
    leaving.stop(SIGKILL);
    const Outcome late = control({"lock", "--timeout", "0.3", "--", "true"});
    EXPECT_EQ(late.status, 1);
    expectIn("held by ostrivanectl (pid " + std::to_string(mutex.holder()) + ", user ", late.errors);
    writer = Descriptor();
    EXPECT_EQ(control({"lock", "--", "true"}), (Outcome{0, "", ""}));
}

TEST_F(ControlTest, AGuardianThatStillWaitsEndsWithItsCaller)
{
    Child daemon = runDaemon();
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(false));
    mutex.lock();
    Child caller = startControl({"lock", "--timeout", "60", "--", "true"});
    const auto processes = [this] // the caller, and the guardian that has its environment
    {
        size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc"))
        {
            std::error_code error;
            count += std::filesystem::read_symlink(entry.path() / "exe", error) == CONTROL_BINARY &&
                     contents(entry.path() / "environ").find(stage.folder) != std::string::npos;
        }
        return count;
    };
    EXPECT_TRUE(waitFor([&] { return staysAt(2u, processes); })); // a third starts the guardian, and goes
    caller.stop(SIGKILL);
    EXPECT_TRUE(waitFor([&] { return processes() == 0; }));
    mutex.unlock();
    EXPECT_EQ(mutex.holder(), 0);
}

/// A child of the test that has the name, holds the mutex if there is one, and waits.
static Child runProcess(const char* name, SharedPreferenceMutex& mutex)
{
    Child child(fork());
    if (child.pid == 0)
    {
        prctl(PR_SET_NAME, name);
        mutex.lock();
        pause();
        _exit(0);
    }
    EXPECT_TRUE(waitFor([&] { return !mutex.segment || mutex.holder() == child.pid; }));
    return child;
}

TEST_F(ControlTest, TellsWhoHasTheMutex)
{
    Child daemon = runDaemon();
    plug("17");
    EXPECT_EQ(statusOf("mutex"), "  mutex        free");

    SharedPreferenceMutex other;
    ASSERT_TRUE(other.open(false));
    Child holder = runProcess("\x1b[2J\"\n", other);
    EXPECT_EQ(say("change 17 Gain=1"), "ok");
    const std::string held = "held by \\x1B[2J\"\\n (pid " + std::to_string(holder.pid) + ", user ";
    EXPECT_TRUE(waitFor([&] { return statusOf("mutex").ends_with("); 1 thread of the daemon waits"); }));
    expectIn("  mutex        " + held, statusOf("mutex"));
    expectIn("\"name\":\"\\u001b[2J\\\"\\n\",", control({"status", "--json"}).output);
    expectIn(held, control({"lock", "--timeout", "0", "--", "true"}).errors);
    kill(holder.pid, SIGSTOP);
    EXPECT_TRUE(
        waitFor([&] { return statusOf("mutex").ends_with("go on: kill -CONT " + std::to_string(holder.pid)); }));

    holder.stop(SIGKILL);
    const std::string thread = "thread " + std::to_string(other.holder());
    expectIn("! mutex        held by one that is gone (" + thread + ")", statusOf("mutex"));
    const auto begin = std::chrono::steady_clock::now();
    expectIn("who held the shared mutex is gone (" + thread + ")", control({"lock", "--", "true"}).errors);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9)) << "one does not wait for the dead";
}

TEST_F(ControlTest, CallsAHolderGoneOnlyWhereNothingIsHidden)
{
    if (!mayMount() || !mayBecomeAnother())
        GTEST_SKIP() << "mounts something and becomes another user";
    program = stage / "ostrivanectl";
    std::filesystem::copy_file(CONTROL_BINARY, program);
    std::filesystem::permissions(stage.folder, std::filesystem::perms(0755));
    const Lines asNobody = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    Lines hidden = {
        "/usr/bin/unshare", "--mount", "/bin/sh", "-c", "mount -t proc -o hidepid=2 proc /proc && exec \"$@\"", "sh"};
    hidden.insert(hidden.end(), asNobody.begin(), asNobody.end());

    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(true));
    Child holder = runProcess("holder", mutex);
    const std::string thread = "thread " + std::to_string(holder.pid);
    const std::string perhaps = "! mutex        held by " + thread + ", which is not seen from here and perhaps gone";
    expectIn("user root, to judge by its number alone)", control({"status"}, asNobody).output);
    expectIn(perhaps, control({"status"}, hidden).output);
    expectIn("\"holder\":null,\"gone\":null", control({"status", "--json"}, hidden).output);
    holder.stop(SIGKILL);
    expectIn(perhaps, control({"status"}, hidden).output);
    expectIn(perhaps, control({"status"}, {"/usr/bin/unshare", "--pid", "--fork", "--mount-proc"}).output);
    expectIn("held by one that is gone (" + thread + ")", control({"status"}).output);
}

TEST_F(ControlTest, TellsWhatStandsInTheMutexsPlace)
{
    umask(0);
    Child daemon = runDaemon();
    for (const auto& [make, text] : {std::pair("mkdir", "a directory"),
                                     {"mkfifo", "neither file nor directory"},
                                     {"ln -s /etc/passwd", "a symbolic link"},
                                     {"truncate -s 40", "its creator has not finished it"},
                                     {"truncate -s 39", "a file of 39 bytes"},
                                     {"truncate -s 1G", "a file of 1073741824 bytes"},
                                     {"printf '%040d' 0 >", "no mutex of the daemon's kind"}})
    {
        std::filesystem::remove(segmentPath);
        ASSERT_EQ(std::system((std::string(make) + " " + segmentPath).c_str()), 0);
        expectIn("! mutex", statusOf("mutex"));
        expectIn(text, statusOf("mutex"));
        const Outcome lock = control({"lock", "--timeout", "0.05", "--", "true"});
        EXPECT_EQ(lock.status, 1);
        expectIn("is no shared mutex: ", lock.errors);
        expectIn(text, lock.errors);
    }
    std::filesystem::remove(segmentPath);
    expectIn("its name was taken away", statusOf("mutex"));
    SharedPreferenceMutex second;
    ASSERT_TRUE(second.open(true));
    expectIn("! mutex        free -> it is not the running daemon's", statusOf("mutex"));
}

TEST_F(ControlTest, CountsNoProcessAsADaemonForItsNameAlone)
{
    if (!mayBecomeAnother())
        GTEST_SKIP() << "becomes another user";
    SharedPreferenceMutex none;
    Child named = runProcess("OstrivaneHelper", none);
    std::filesystem::permissions(stage.folder, std::filesystem::perms(0755));
    std::filesystem::create_directory(stage / "stranger");
    std::filesystem::copy_file(CONTROL_BINARY, stage / "stranger/OstrivaneHelper"); // does its work by any name
    Child stranger({"/usr/bin/setpriv", "--reuid=65534", "--clear-groups", "--pdeathsig=KILL",
                    stage / "stranger/OstrivaneHelper", "watch"},
                   stage / "errors");
    for (const Child* child : {&named, &stranger})
        EXPECT_TRUE(
            waitFor([&] { return contents("/proc/" + std::to_string(child->pid) + "/comm") == "OstrivaneHelper\n"; }));
    EXPECT_EQ(statusOf("daemon"), "! daemon       none runs -> systemctl start ostrivane-helper");
    EXPECT_EQ(stranger.stop(), -1) << "it has ended before: " << errors();
}

TEST_F(ControlTest, StatusTellsWhatIsWrongAndWhatToDo)
{
    EXPECT_EQ(statusOf("daemon"), "! daemon       none runs -> systemctl start ostrivane-helper");
    writePreferences("<card id='17'><attribute name='Label' value='A'/></card>");
    Child daemon = runDaemon();
    plug("17");
    const Outcome well = control({"status"});
    EXPECT_EQ(well.status, 0) << well.output;
    expectIn("  daemon       pid " + std::to_string(daemon.pid) + " of ", well.output);
    expectIn("  listeners    1 card ", well.output);
    expectIn("  library      " + stage / "libTessarigAPI.so\n", well.output);
    expectIn(preferencePath + ": 1 card, 0 groups, 1 setting, changed 2", well.output);
    EXPECT_EQ(control({"status", "--jsonn"}).status, 2);

    std::filesystem::copy_file(SIMULATOR_LIBRARY, stage / "new");
    std::filesystem::rename(stage / "new", stage / "libTessarigAPI.so");
    writePreferences("<group id='3;2'><attribute name='NetOutputVideoPort' value='9'/></group>");
    const std::string left = "/etc/quillstone.QuillstonePreferences.xml~abcdef";
    std::ofstream(left) << "<";
    std::filesystem::last_write_time(left, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    const Outcome ill = control({"status"});
    EXPECT_EQ(ill.status, 1);
    expectIn("! library      " + stage / "libTessarigAPI.so" + " -> it was replaced since", ill.output);
    expectIn("! migration    NetOutputVideoPort on group3;2: no card of the group is in the file", ill.output);
    expectIn("or: ostrivanectl unset 'group3;2'\n", ill.output);
    expectIn("! left behind  " + left, ill.output);
    std::filesystem::remove(left);

    writePreferences("\n<card id='17'");
    expectIn("! file         " + preferencePath + ": line 2, column ", control({"status"}).output);
    const Outcome json = control({"status", "--json"});
    EXPECT_EQ(json.status, 1);
    for (const char* part : {"{\"ok\":false,", "\"libraryReplaced\":true", "\"state\":\"free\"", "\"line\":2,"})
        expectIn(part, json.output);
}

TEST_F(ControlTest, StatusTellsWhatKeepsASaveFromTheFile)
{
    if (!mayMount())
        GTEST_SKIP() << "nothing can be mounted";
    std::filesystem::create_directory("/etc/quillstone");
    for (const auto& [mount, obstacle] :
         {std::pair("mount --bind /etc/quillstone", " is on another mount than /etc, from which nothing is"),
          {"mount -t tmpfs -o ro none", " is on a read-only file system"}})
    {
        ASSERT_EQ(std::system((mount + std::string(" /etc/quillstone")).c_str()), 0);
        expectIn("! file         " + preferencePath + ": none yet -> no save can write it: /etc/quillstone" + obstacle,
                 statusOf("file"));
        ASSERT_EQ(std::system("umount /etc/quillstone"), 0);
    }
    EXPECT_EQ(statusOf("file"), "  file         " + preferencePath + ": none yet; the first save makes it");
}
