#include <sys/mount.h>

#include "preferences/SharedPreferenceMutex.h"
#include "tests/ControlTest.h"

/// The commands that read the file and change settings in it.
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
        const int status = Child({"/bin/sh", "-c", std::string(CONTROL_BINARY) + " edit <" + (stage / "answers")},
                                 stage / "control-errors", environment, stage / "output")
                               .wait();
        return {status, contents(stage / "output"), controlErrors()};
    }

    /// Key, name and value of each setting, as `list` has them.
    std::string listed() { return control({"list"}).output; }

    ControlEditTest()
    {
        environment["TMPDIR"] = stage / "tmp";
        std::filesystem::create_directory(stage / "tmp");
    }

    size_t copiesLeft() const
    {
        const std::filesystem::directory_iterator copies(stage / "tmp");
        return static_cast<size_t>(std::distance(begin(copies), end(copies)));
    }

    static std::string card(const std::string& id, const std::string& attributes)
    {
        return "<card id=\"" + id + "\">" + attributes + "</card>";
    }

    static std::string attribute(const std::string& name, const std::string& value)
    {
        return "<attribute name=\"" + name + "\" value=\"" + value + "\"/>";
    }
};

TEST_F(ControlEditTest, CheckShowsWhereAFileIsRefused)
{
    struct Row
    {
        std::string text;
        std::string shown;
    };
    const std::string file = stage / "checked.xml";
    for (const auto& [text, shown] :
         {Row{"<QuillstonePreferences>\n  <card id=\"1\">\n\t<b>\n</QuillstonePreferences>\n",
              "line 4, column 1: </b> is missing here\n    </QuillstonePreferences>\n    ^\n"},
          {"<QuillstonePreferences a=\"\x1B[2J\xC3\xA9\" a=\"\"/>",
           "line 1, column 35: the attribute 'a' stands there twice\n"
           "    <QuillstonePreferences a=\"\\x1B[2J\xC3\xA9\" a=\"\"/>\n                                        ^\n"},
          {"<QuillstonePreferences " + std::string(5000, 'b') + "=\"\" c=\"\" c=\"\" " + std::string(5000, 'd') + ">",
           "line 1, column 5033: the attribute 'c' stands there twice\n    ..." + std::string(39, 'b') +
               "=\"\" c=\"\" c=\"\" " + std::string(19, 'd') + "...\n" + std::string(55, ' ') + "^\n"},
          {"<a/>", "line 1, column 1: the first element is <a> instead of <QuillstonePreferences>\n    <a/>\n    ^\n"},
          {"", "it is empty\n"}})
    {
        std::ofstream(file, std::ios::binary) << text;
        EXPECT_EQ(control({"check", file}), (Outcome{1, file + ": would not be read\n" + shown, ""}));
        EXPECT_EQ(contents(file), text);
    }
    EXPECT_EQ(control({"check"}).output, preferencePath + ": would not be read\nNo such file or directory\n");
    EXPECT_EQ(control({"check", "/etc"}).output, "/etc: would not be read\nIs a directory\n");
    EXPECT_EQ(control({"check", "--json", "/dev/zero"}),
              (Outcome{1,
                       "{\"file\":\"/dev/zero\",\"accepted\":false,\"reason\":\"not a regular "
                       "file\",\"line\":null,\"column\":null,\"text\":null,\"cards\":null,\"groups\":null,\"settings\":"
                       "null,\"losses\":[],\"notKept\":null,\"moves\":[],\"changes\":[]}\n",
                       ""}));
}

TEST_F(ControlEditTest, CheckForetellsWhatAStartDoes)
{
    writePreferences("<!-- x -->\n<group id=\"16\">" + attribute("NetOutputVideoPort", "9000") +
                     attribute("Mode", "on") + "</group><group id=\"48\">" + attribute("NetOutputAudioPort", "1") +
                     "</group>" + card("17", attribute("NetOutputVideoPort_0", "7")) +
                     card("18", attribute("L", "b") + attribute("L", "a")));
    const std::string before = contents(preferencePath);
    EXPECT_EQ(control({"check"}),
              (Outcome{0,
                       preferencePath + ": would be read\n2 cards, 2 groups, 5 settings\nThe next write loses:\n"
                                        "  line 1, column 24: comment 'x'\n  line 2, column 297: doubled setting 'L'\n"
                                        "A start moves:\n- group16 NetOutputVideoPort = 9000\n"
                                        "- 17 NetOutputVideoPort_0 = 7\n+ 17 NetOutputVideoPort_0 = 9000\n"
                                        "+ 18 NetOutputVideoPort_0 = 9000\nA start leaves where it is:\n"
                                        "  group48, 1 setting: no card of this group is in the file\n",
                       ""}));
    EXPECT_NE(control({"check", "--json"})
                  .output.find("\"moves\":[{\"group\":\"group16\",\"outcome\":\"moved\",\"cards\":2,"
                               "\"names\":[\"NetOutputVideoPort\"]},{\"group\":\"group48\",\"outcome\":\"no cards\""),
              std::string::npos);
    EXPECT_EQ(contents(preferencePath), before);

    Child daemon = runDaemon();
    EXPECT_EQ(listed(), "group16  Mode                  on\ngroup48  NetOutputAudioPort    1\n"
                        "17       NetOutputVideoPort_0  9000\n18       L                     a\n"
                        "18       NetOutputVideoPort_0  9000\n");
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(ControlEditTest, WhatIsSetIsReadAgainAsItWasOrRefused)
{
    for (const std::string value : {"", "-3", "list", "[a,b]", "{}", "&#x41;<\"'>", "a\tb\r\nc\x1B[2J\xE9", "%s "})
    {
        EXPECT_EQ(control({"set", "17", "Na me", "--", value}), (Outcome{0, "", ""})) << value;
        EXPECT_EQ(control({"get", "17", "Na me"}), (Outcome{0, value + "\n", ""}));
    }
    EXPECT_EQ(modeOf(preferencePath), 0666u);
    EXPECT_EQ(control({"set", "group16", "A", "\xE9\x1B"}).status, 0);
    EXPECT_EQ(control({"list", "group16"}).output, "group16  A  \xC3\xA9\\x1B\n");
    EXPECT_EQ(control({"list", "--json", "group16"}).output,
              "{\"key\":\"group16\",\"name\":\"A\",\"value\":\"\xC3\xA9\\u001b\"}\n");
}

TEST_F(ControlEditTest, RefusesWhatIsNotThereOrMakesNoSense)
{
    writePreferences(card("17", attribute("Na me", "%s ")) + "<group id=\"16\">" + attribute("A", "b") + "</group>");
    const std::string before = contents(preferencePath);
    for (const Lines& words : {Lines{"set", "agroup1", "A", "b"},
                               {"set", " 17", "A", "b"},
                               {"set", "group", "A", "b"},
                               {"unset", "18"},
                               {"unset", "17", "B"},
                               {"get", "17", "B"},
                               {"get", "1", "Na me"},
                               {"list", "18"}})
    {
        const Outcome outcome = control(words);
        EXPECT_EQ(outcome.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
    }
    for (const Lines& words : {Lines{"set", "17", "A"},
                               {"get", "17"},
                               {"list", "--user", "--file", "a"},
                               {"bogus"},
                               {"set", "", "A", "b"},
                               {"set", "17", "", "b"},
                               {"check", ""},
                               {"import", ""},
                               {"list", "--file", ""},
                               {"unset", "17", "A", "--timeout", ""}})
        EXPECT_EQ(control(words).status, 2) << testing::PrintToString(words);
    EXPECT_NE(control({"--nope"}).errors.find("'--nope'"), std::string::npos);
    environment["HOME"] = "";
    EXPECT_EQ(control({"list", "--user"}).errors, "ostrivanectl: HOME is not set, so there is no user's own file\n");
    EXPECT_EQ(controlBy({"/usr/bin/prlimit", "--fsize=150"}, {"set", "17", "A", "b"}),
              (Outcome{1, "", "ostrivanectl: " + preferencePath + " can't be written: File too large\n"}));
    EXPECT_EQ(contents(preferencePath), before);

    EXPECT_EQ(control({"unset", "17", "Na me"}).status, 0);
    EXPECT_EQ(control({"unset", "group16"}).status, 0);
    EXPECT_EQ(control({"list"}), (Outcome{0, "", ""}));
    EXPECT_NE(contents(preferencePath).find("<QuillstonePreferences />"), std::string::npos);
    writePreferences("<!-- x -->" + card("1", attribute("A", "b")));
    EXPECT_EQ(control({"set", "1", "A", "c"}).errors, "ostrivanectl: lost from the old file: comment (line 1)\n");
}

TEST_F(ControlEditTest, ChangesWaitForTheMutexAndLeaveARefusedFileAlone)
{
    Child daemon = runDaemon();
    SharedPreferenceMutex mutex;
    ASSERT_TRUE(mutex.open(false));
    mutex.lock();
    const Outcome late = control({"set", "17", "A", "b", "--timeout", "0.05"});
    EXPECT_EQ(late.status, 1);
    EXPECT_NE(late.errors.find("is held by"), std::string::npos) << late.errors;
    editWith("echo '<QuillstonePreferences>" + card("1", attribute("A", "b")) +
             "</QuillstonePreferences>' >\"$copy\"; echo >" + (stage / "edited"));
    environment["TMPDIR"] = stage / "none";
    Child ended = startControl({"edit"});
    EXPECT_TRUE(waitFor([&] { return std::filesystem::exists(stage / "edited"); }));
    EXPECT_EQ(ended.stop(), -1);
    const std::string copy = controlErrors().substr(std::string("\nostrivanectl: your copy is ").size());
    EXPECT_EQ(copy.substr(0, 18), "/tmp/ostrivanectl-") << controlErrors();
    EXPECT_EQ(std::filesystem::remove_all(std::filesystem::path(copy).parent_path()), 2u);
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
        EXPECT_NE(outcome.errors.find(reason), std::string::npos) << outcome.errors;
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
    EXPECT_EQ(daemon.stop(), 0);
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
    say("change 17 Level=3");
    EXPECT_TRUE(waitFor([&] { return control({"get", "17", "Level"}).output == "3\n"; }));
    std::ofstream(stage / "go") << "\n";

    EXPECT_EQ(edit.wait(), 0);
    EXPECT_EQ(controlErrors(), "ostrivanectl: 'Gain' of '17' was changed meanwhile: it was '0.5', then '0.7'; "
                               "yours holds: '0.9'\nostrivanectl: not taken from your copy: comment (line 1)\n");
    EXPECT_EQ(listed(), "17  Gain   0.9\n17  Label  new\n17  Level  3\n");
    EXPECT_EQ(copiesLeft(), 0u);
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(ControlEditTest, ACopyThatCannotBeReadLeadsBackToThePlaceOrIsDropped)
{
    writePreferences("\n" + card("17", attribute("Gain", "0.5")) + "\n");
    const std::string before = contents(preferencePath);
    editWith("if grep -q cart \"$copy\"; then sed -i 's/cart/card/; s/0.5/0.9/' \"$copy\"; else sed -i s,/card,/cart, "
             "\"$copy\"; fi");
    EXPECT_EQ(editAnswering("d\n").output, "Dropped; nothing was changed.\n");
    EXPECT_EQ(copiesLeft(), 0u);
    const Outcome ended = editAnswering("what?\n");
    EXPECT_EQ(ended.status, 1);
    EXPECT_NE(ended.errors.find("</card> is missing here"), std::string::npos) << ended.errors;
    EXPECT_EQ(copiesLeft(), 1u);
    EXPECT_EQ(contents(preferencePath), before);

    std::filesystem::remove(stage / "calls");
    EXPECT_EQ(editAnswering("e\n").output, "1 setting changed\n");
    const std::string calls = contents(stage / "calls");
    EXPECT_EQ(calls.substr(calls.find('\n') + 1).substr(0, 6), "-n +2 ") << calls;
    EXPECT_EQ(listed(), "17  Gain  0.9\n");

    editWith("echo >>\"$copy\"");
    EXPECT_EQ(control({"edit"}), (Outcome{0, "No setting was changed.\n", ""}));
    editWith("exit 3");
    EXPECT_NE(control({"edit"}).errors.find("ended with status 3; nothing was changed\n"), std::string::npos);
    EXPECT_EQ(copiesLeft(), 1u);
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
            controlBy({"/usr/bin/setpriv", "--inh-caps", "-dac_override", "--bounding-set", "-dac_override"}, words),
            (Outcome{1, "",
                     "ostrivanectl: no right to replace " + file + ", which takes writing in " + home +
                         "/.config: Permission denied\n"}));
    EXPECT_EQ(contents(file), "<QuillstonePreferences/>");
}

TEST_F(ControlEditTest, AFullDiskLeavesTheFileAsItWas)
{
    if (!mayMount())
        GTEST_SKIP() << "mounts something";
    environment["HOME"] = stage / "home";
    const std::string file = stage / "home/.config/quillstone/QuillstonePreferences.xml";
    ASSERT_EQ(std::system(("cd " + stage.folder + "; mkdir home; mount -t tmpfs -o size=32k tmpfs home").c_str()), 0);
    EXPECT_EQ(control({"set", "17", "A", "b", "--user"}), (Outcome{0, "", ""}));
    const std::string before = contents(file);
    EXPECT_NE(std::system(("cat /dev/zero >" + (stage / "home/rest") + " 2>&-").c_str()), 0);
    EXPECT_EQ(control({"set", "17", "A", "c", "--user"}),
              (Outcome{1, "", "ostrivanectl: " + file + " can't be written: No space left on device\n"}));
    EXPECT_EQ(contents(file), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(stage / "home/.config"), {}), 1);
    EXPECT_EQ(umount((stage / "home").c_str()), 0);
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
    EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(ControlEditTest, AFileThatChangesWhileItIsReadIsReadAsItOnceWasOrNotAtAll)
{
    for (const std::string value : {"a", "b", "c"})
        std::ofstream(stage / value) << "<QuillstonePreferences>"
                                     << card("1", attribute("A", std::string(1000000, value[0])))
                                     << "</QuillstonePreferences>";
    std::filesystem::copy_file(stage / "a", stage / "file");
    const std::string replacing = "cp $i new; mv new file";
    for (const std::string& way :
         {replacing, std::string("cat $i >file"), std::string("dd if=$i of=file bs=1M conv=notrunc")})
    {
        Child writer(
            {"/bin/sh", "-c",
             "cd " + stage.folder + "; until test -e stop; do for i in a b c; do " + way + "; done; done; rm stop"},
            stage / "errors");
        for (int round = 0; round < 10; ++round)
        {
            const auto [status, output, errors] = control({"list", "--file", stage / "file"});
            EXPECT_TRUE(status == 0 || (way != replacing && errors.find(" can't be read: ") != errors.npos)) << errors;
            for (const char* const oldBeforeNew : {"ab", "bc", "ca"})
                EXPECT_EQ(output.find(oldBeforeNew), output.npos) << way;
        }
        std::ofstream(stage / "stop");
        EXPECT_EQ(writer.wait(), 0);
    }
}
