#include "preferences/SharedPreferenceMutex.h"
#include "tests/ControlTest.h"

/// What changes settings beside cards that save.
class ControlEditTest : public ControlTest
{
protected:
    /// A script that `edit` starts: what it is to do to "$copy". Takes the place of an editor that is told the line.
    void editWith(const std::string& commands)
    {
        const std::string editor = stage / "vi";
        std::ofstream(editor) << "#!/bin/sh\necho \"$*\" >>" << stage.folder << "/calls\nfor copy; do :; done\n"
                              << commands << "\n";
        std::filesystem::permissions(editor, std::filesystem::perms::all);
        environment["VISUAL"] = editor + " -n";
    }

    /// With these lines on its stdin.
    Outcome editAnswering(const std::string& answers)
    {
        std::ofstream(stage / "answers") << answers;
        return controlInShell("edit <" + (stage / "answers"));
    }

    ControlEditTest()
    {
        environment["TMPDIR"] = stage / "tmp";
        std::filesystem::create_directory(stage / "tmp");
    }

    auto copiesLeft() const { return std::distance(std::filesystem::directory_iterator(stage / "tmp"), {}); }
};

TEST_F(ControlEditTest, ChangesWaitForTheMutexAndLeaveARefusedFileAlone)
{
    Child daemon = runDaemon();
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(false));
    mutex.lock();
    const Outcome late = control({"set", "17", "A", "b", "--timeout", "0.05"});
    EXPECT_EQ(late.status, 1);
    expectIn("is held by", late.errors);
    editWith("echo '<QuillstonePreferences>" + card("1", attribute("A", "b")) +
             "</QuillstonePreferences>' >\"$copy\"; echo >" + (stage / "edited"));
    environment["TMPDIR"] = stage / "none";
    Child ended = startControl({"edit"});
    EXPECT_TRUE(waitFor([&] { return std::filesystem::exists(stage / "edited"); }));
    EXPECT_EQ(ended.stop(), -1);
    const std::string copy = controlErrors().substr(std::string("\nostrivanectl: your copy is ").size());
    const std::filesystem::path folder = std::filesystem::path(copy).parent_path(); // not /tmp: it is removed
    ASSERT_TRUE(folder.parent_path() == "/tmp" && folder.filename().string().starts_with("ostrivanectl-"))
        << controlErrors();
    EXPECT_EQ(std::filesystem::remove_all(folder), 2u);
    Child waiting = startControl({"set", "17", "A", "c"});
    EXPECT_FALSE(waitFor([] { return std::filesystem::exists(preferencePath); }, std::chrono::milliseconds(60)));
    mutex.unlock();
    EXPECT_EQ(waiting.wait(), 0);
    EXPECT_EQ(listed(), "17  A  c\n");

    const std::string refused = "<QuillstonePreferences>\n<card>";
    std::ofstream(preferencePath) << refused;
    const std::string reason = "line 2, column 1: <card> is not closed";
    editWith("echo the editor ran");
    for (const Lines& words : {Lines{"set", "1", "A", "b"}, {"unset", "1"}, {"edit"}, {"import", preferencePath}})
    {
        const Outcome outcome = control(words);
        EXPECT_TRUE(outcome.status == 1 && outcome.output.empty()) << testing::PrintToString(words);
        expectIn(reason, outcome.errors);
        EXPECT_EQ(contents(preferencePath), refused);
    }
    const std::string source = stage / "source.xml";
    std::ofstream(source) << "<QuillstonePreferences>text" << card("2", attribute("A", "b"))
                          << "</QuillstonePreferences>";
    EXPECT_EQ(control({"import", source}),
              (Outcome{0, "",
                       "ostrivanectl: replaced a file that could not be read: " + reason +
                           "\nostrivanectl: not taken from " + source + ": text (line 1)\n"}));
    EXPECT_EQ(listed(), "2  A  b\n");
}

TEST_F(ControlEditTest, AFileThatCannotBeReadForWantOfProcIsNoMissingOne)
{
    if (!mayMount())
        GTEST_SKIP() << "nothing can be mounted";
    writePreferences(card("17", attribute("Gain", "0.5")));
    const std::string hiding = "mount -t tmpfs none /proc/$$/fd && exec \"$@\"";
    EXPECT_EQ(control({"set", "17", "A", "b"}, {"/usr/bin/unshare", "--mount", "/bin/sh", "-c", hiding, "sh"}).errors,
              "ostrivanectl: " + preferencePath + " can't be read: it is read through /proc, which is not there\n");
    EXPECT_EQ(listed(), "17  Gain  0.5\n");
}

TEST_F(ControlEditTest, CardsSaveWhileAPersonEditsAndHisChangesAreMadeInWhatTheySaved)
{
    writePreferences(card("17", attribute("Gain", "0.5") + attribute("Label", "old") + attribute("Gone", "1")));
    Child daemon = runDaemon();
    say("plug 17");
    editWith("cat >" + (stage / "begin") + " </dev/null; read line <" + (stage / "go") +
             "; sed -i 's/0.5/0.9/; s/old/new/; s/<attribute name=.Gone[^>]*>/<!-- x -->/' \"$copy\"");
    mkfifo((stage / "go").c_str(), 0600);
    Child edit = startControl({"edit"});
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(stage / "begin"); }));
    say("change 17 Gain=0.7");
    EXPECT_TRUE(waitFor([&] { return control({"get", "17", "Gain"}).output == "0.7\n"; }));
    say("change 17 Level=3"); // by itself: of two at once the last save might come after the edit
    EXPECT_TRUE(waitFor([&] { return control({"get", "17", "Level"}).output == "3\n"; }));
    std::ofstream(stage / "go") << "\n";

    EXPECT_EQ(edit.wait(), 0);
    EXPECT_EQ(controlErrors(), "ostrivanectl: 'Gain' of '17' was changed meanwhile: it was '0.5', then '0.7'; "
                               "yours holds: '0.9'\nostrivanectl: not taken from your copy: comment (line 1)\n");
    EXPECT_EQ(listed(), "17  Gain   0.9\n17  Label  new\n17  Level  3\n");
    EXPECT_EQ(copiesLeft(), 0);
}

TEST_F(ControlEditTest, ACopyThatCannotBeReadLeadsBackToThePlaceOrIsDropped)
{
    writePreferences("\n" + card("17", attribute("Gain", "0.5")) + "\n");
    const std::string before = contents(preferencePath);
    editWith("if grep -q cart \"$copy\"; then sed -i 's/cart/card/; s/0.5/0.9/' \"$copy\"; else sed -i s,/card,/cart, "
             "\"$copy\"; fi");
    EXPECT_EQ(editAnswering("d\n").output, "Dropped; nothing was changed.\n");
    EXPECT_EQ(copiesLeft(), 0);
    const Outcome ended = editAnswering("what?\n");
    EXPECT_EQ(ended.status, 1);
    expectIn("</card> is missing here", ended.errors);
    EXPECT_EQ(copiesLeft(), 1);
    EXPECT_EQ(contents(preferencePath), before);

    std::filesystem::remove(stage / "calls");
    EXPECT_EQ(editAnswering("e\n").output, "1 setting changed\n");
    const std::string calls = contents(stage / "calls");
    EXPECT_EQ(calls.substr(calls.find('\n') + 1).substr(0, 6), "-n +2 ") << calls;
    EXPECT_EQ(listed(), "17  Gain  0.9\n");

    editWith("echo >>\"$copy\"");
    EXPECT_EQ(control({"edit"}), (Outcome{0, "No setting was changed.\n", ""}));
    editWith("exit 3");
    expectIn("ended with status 3; nothing was changed\n", control({"edit"}).errors);
    EXPECT_EQ(copiesLeft(), 1);
}

TEST_F(ControlEditTest, WhoMayNotReplaceTheFileIsToldBeforeAnythingHappens)
{
    const std::string home = stage / "home";
    std::filesystem::create_directories(home + "/.config/quillstone");
    const std::string file = home + "/.config/quillstone/QuillstonePreferences.xml";
    std::ofstream(file) << "<QuillstonePreferences/>";
    std::filesystem::permissions(home + "/.config", std::filesystem::perms(0555));
    environment["HOME"] = home;
    editWith("echo the editor ran");
    for (const Lines& words : {Lines{"set", "1", "A", "b", "--user"},
                               {"unset", "1", "--user"},
                               {"edit", "--user"},
                               {"import", file, "--user"}})
        EXPECT_EQ(
            control(words, {"/usr/bin/setpriv", "--inh-caps", "-dac_override", "--bounding-set", "-dac_override"}),
            (Outcome{1, "",
                     "ostrivanectl: no right to replace " + file + ", which takes writing in " + home +
                         "/.config: Permission denied\n"}));
    EXPECT_EQ(contents(file), "<QuillstonePreferences/>");
}

TEST_F(ControlEditTest, ASignalEndsAWriterOnceTheFileIsWholeAndTheMutexFree)
{
    Child daemon = runDaemon();
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(false));
    const std::string source = stage / "source.xml";
    std::ofstream(source) << "<QuillstonePreferences>" << card("17", attribute("A", "b")) << "</QuillstonePreferences>";
    editWith("cp " + source + " \"$copy\"");
    signal(SIGIO, SIG_IGN); // tells of a lease that somebody waits for
    for (const Lines& words : {Lines{"set", "17", "A", "b"}, {"import", source}, {"edit"}})
    {
        writePreferences(card("17", attribute("A", "a")));
        mutex.lock();
        Child writer = startControl(words);
        const std::string call = "/proc/" + std::to_string(writer.pid) + "/syscall", inFutex = "202 ";
        EXPECT_TRUE(waitFor([&] { return contents(call).starts_with(inFutex); }));
        Descriptor lease(open(preferencePath.c_str(), O_RDONLY | O_CLOEXEC)); // the writer's read waits for it
        EXPECT_EQ(fcntl(lease.get(), F_SETLEASE, F_WRLCK), 0);
        mutex.unlock();
        EXPECT_TRUE(waitFor([&] { return mutex.holder() == writer.pid; }));
        kill(writer.pid, SIGINT);
        kill(writer.pid, SIGTERM);
        EXPECT_TRUE(staysAt(writer.pid, [&] { return mutex.holder(); }));
        lease = {};
        EXPECT_EQ(writer.wait(), -1);
        ASSERT_EQ(mutex.holder(), 0);
        EXPECT_EQ(listed(), "17  A  b\n");
    }
}
