#include "tests/ControlTest.h"

/// What reads the file, and what changes settings in it by one command.
using ControlFileTest = ControlTest;

TEST_F(ControlFileTest, CheckShowsWhereAFileIsRefused)
{
    const std::string file = stage / "checked.xml";
    for (const auto& [text, shown] :
         {std::pair<std::string, std::string>{
              "<QuillstonePreferences>\n  <card id=\"1\">\n\t<b>\n</QuillstonePreferences>\n",
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
    EXPECT_EQ(control({"check", "--json", "/dev/zero"}),
              (Outcome{1,
                       "{\"file\":\"/dev/zero\",\"accepted\":false,\"reason\":\"not a regular "
                       "file\",\"line\":null,\"column\":null,\"text\":null,\"cards\":null,\"groups\":null,\"settings\":"
                       "null,\"losses\":[],\"notKept\":null,\"moves\":[],\"changes\":[]}\n",
                       ""}));
}

TEST_F(ControlFileTest, CheckForetellsWhatAStartDoes)
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
    expectIn("\"moves\":[{\"group\":\"group16\",\"outcome\":\"moved\",\"cards\":2,\"names\":[\"NetOutputVideoPort\"]},"
             "{\"group\":\"group48\",\"outcome\":\"no cards\"",
             control({"check", "--json"}).output);
    EXPECT_EQ(contents(preferencePath), before);

    Child daemon = runDaemon();
    EXPECT_EQ(listed(), "group16  Mode                  on\ngroup48  NetOutputAudioPort    1\n"
                        "17       NetOutputVideoPort_0  9000\n18       L                     a\n"
                        "18       NetOutputVideoPort_0  9000\n");
}

TEST_F(ControlFileTest, WhatIsSetIsReadAgainAsItWasOrRefused)
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

TEST_F(ControlFileTest, RefusesWhatIsNotThereOrMakesNoSense)
{
    writePreferences(card("17", attribute("Na me", "%s ")) + "<group id=\"16\">" + attribute("A", "b") + "</group>");
    const std::string before = contents(preferencePath);
    for (const char* words : {"set agroup1 A b", "set ' 17' A b", "set group A b", "unset 18", "unset 17 B", "get 17 B",
                              "get 1 'Na me'", "list 18"})
    {
        const Outcome outcome = controlInShell(words);
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
    }
    for (const char* words : {"set 17 A", "get 17", "list --user --file a", "bogus", "set '' A b", "set 17 '' b",
                              "check ''", "import ''", "list --file ''", "unset 17 A --timeout ''"})
        EXPECT_EQ(controlInShell(words).status, 2) << words;
    expectIn("'--nope'", control({"--nope"}).errors);
    environment["HOME"] = "";
    EXPECT_EQ(control({"list", "--user"}).errors, "ostrivanectl: HOME is not set, so there is no user's own file\n");
    EXPECT_EQ(control({"set", "17", "A", "b"}, {"/usr/bin/prlimit", "--fsize=150"}),
              (Outcome{1, "", "ostrivanectl: " + preferencePath + " can't be written: File too large\n"}));
    EXPECT_EQ(contents(preferencePath), before);

    EXPECT_EQ(control({"unset", "17", "Na me"}).status, 0);
    EXPECT_EQ(control({"unset", "group16"}).status, 0);
    EXPECT_EQ(control({"list"}), (Outcome{0, "", ""}));
    expectIn("<QuillstonePreferences />", contents(preferencePath));
    writePreferences("<!-- x -->" + card("1", attribute("A", "b")));
    EXPECT_EQ(control({"set", "1", "A", "c"}).errors, "ostrivanectl: lost from the old file: comment (line 1)\n");
}

TEST_F(ControlFileTest, AFileThatChangesWhileItIsReadIsReadAsItOnceWasOrNotAtAll)
{
    for (const std::string value : {"a", "b", "c"})
        std::ofstream(stage / value) << "<QuillstonePreferences>"
                                     << card("1", attribute("A", std::string(1000000, value[0])))
                                     << "</QuillstonePreferences>";
    std::filesystem::copy_file(stage / "a", stage / "file");
    const std::string replacing = "cp $i new; mv new file";
    for (const std::string& way : {replacing, std::string("cat $i >file; test $i != c || sleep 0.01")})
    {
        Child writer(
            {"/bin/sh", "-c",
             "cd " + stage.folder + "; until test -e stop; do for i in a b c; do " + way + "; done; done; rm stop"},
            stage / "errors");
        int readings = 0;
        for (int round = 0; round < 10 || (readings == 0 && round < 100); ++round)
        {
            const auto [status, output, errors] = control({"list", "--file", stage / "file"});
            EXPECT_TRUE(status == 0 || (way != replacing && errors.find(" can't be read: ") != errors.npos)) << errors;
            readings += status == 0;
            for (const char* const oldBeforeNew : {"ab", "bc", "ca"})
                EXPECT_EQ(output.find(oldBeforeNew), output.npos) << way;
        }
        EXPECT_GT(readings, 0) << way;
        const std::ofstream stop(stage / "stop");
        EXPECT_EQ(writer.wait(), 0);
    }
}
