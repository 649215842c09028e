#include "tests/ControlTest.h"

using ControlWatchTest = ControlTest;

static bool isInPoll(const Child& child)
{
    return contents("/proc/" + std::to_string(child.pid) + "/syscall").starts_with("7 ");
}

TEST_F(ControlWatchTest, WatchPrintsWhatSavesChangeAndOnlyWhatWholeFilesHold)
{
    Child daemon = runDaemon();
    plug("17");
    Child watch = startControl({"watch"});
    const auto prints = [this](const std::string& end)
    { return waitFor([&] { return contents(stage / "output").ends_with("  17  Gain  " + end + "\n"); }); };
    ASSERT_TRUE(waitFor([&] { return isInPoll(watch); }));

    EXPECT_EQ(say("change 17 Gain=0.5"), "ok"); // in a folder that is not there yet
    EXPECT_TRUE(prints("(none) -> 0.5"));
    std::ofstream(preferencePath) << "<QuillstonePreferences>\n<card id='17'";
    EXPECT_TRUE(waitFor([&] { return controlErrors().find("can't be read: line 2, column ") != std::string::npos; }));
    const std::string former = "/etc/quillstone.QuillstonePreferences.xml~former";
    std::filesystem::rename("/etc/quillstone", former);
    writePreferences("<card id='17'><attribute name='Gain' value='0.\x1b'/></card>");
    EXPECT_TRUE(prints("0.5 -> 0.\\x1B"));
    std::filesystem::remove_all(former);
    EXPECT_EQ(say("change 17 Gain=0.7"), "ok");
    EXPECT_TRUE(prints("0.\\x1B -> 0.7"));
    EXPECT_EQ(watch.stop(SIGINT), -1);
    const std::string output = contents(stage / "output");
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 3) << output;

    const Lines intoNothing = {"/bin/bash", "-c", "set -o pipefail; \"$0\" watch --json | true", program};
    EXPECT_EQ(Child(intoNothing, stage / "control-errors").wait(), 0);
}

TEST_F(ControlWatchTest, AReaderThatGoesWhileChangesArePrintedIsNoFailure)
{
    const std::string pipe = stage / "pipe";
    mkfifo(pipe.c_str(), 0600);
    Child watch({program, "watch"}, stage / "control-errors", environment, pipe);
    Descriptor reader(open(pipe.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(waitFor([&] { return isInPoll(watch); }));
    writePreferences(card("17", attribute("A", std::string(200'000, 'a')))); // more than the pipe takes
    char begin;
    EXPECT_EQ(read(reader.get(), &begin, 1), 1);
    reader = Descriptor();
    EXPECT_EQ(watch.wait(), 0) << controlErrors();
}

TEST_F(ControlWatchTest, WatchFollowsLinksAndFoldersThatComeAndGo)
{
    const std::string first = preferencePath + "-first", second = preferencePath + "-second";
    std::filesystem::create_directory("/etc/quillstone");
    std::filesystem::create_symlink("QuillstonePreferences.xml-second", first);
    std::filesystem::create_symlink(stage / "real/file", second);
    Child watch = startControl({"watch", "--file", first});
    ASSERT_TRUE(waitFor([&] { return isInPoll(watch); }));

    const std::string shell =
        "put() { echo \"<QuillstonePreferences><card id='1'><attribute name='A' value='$2'/></card>"
        "</QuillstonePreferences>\" >$1; }; cd " +
        stage.folder + "; ";
    const auto printsAfter = [&](const std::string& step, char value)
    {
        EXPECT_EQ(std::system((shell + step).c_str()), 0);
        const std::string end = {'>', ' ', value, '\n'};
        return waitFor([&] { return contents(stage / "output").ends_with(end); }, std::chrono::seconds(5));
    };
    EXPECT_TRUE(printsAfter("mkdir real; put real/file 1", '1'));
    EXPECT_TRUE(printsAfter("put new 2; mv new real/file", '2'));
    EXPECT_TRUE(printsAfter("rm -r real; mkdir real; put real/file 3", '3'));
    EXPECT_TRUE(printsAfter("mkdir a; put a/file 4; ln -s a folder; ln -sfn $PWD/a/../folder/file " + second, '4'));
    EXPECT_TRUE(printsAfter("mkdir -p far/away; put far/away/file 5; ln -sfn far/away folder", '5'));
    EXPECT_TRUE(printsAfter("ln -sfn folder folder; rm folder; mkdir folder; put folder/file 6", '6'));
    for (const char value : std::string("abcdefghijklmnopqrstuvwxyz")) // faster than the file's times tell
        EXPECT_TRUE(printsAfter(std::string("put folder/file ") + value, value));
}
