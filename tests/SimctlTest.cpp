#include <sys/socket.h>
#include <sys/un.h>

#include "preferences/Owner.h"
#include "simulator/Commands.h"
#include "simulator/SteeringSocket.h"
#include "simulator/Words.h"
#include "testing/Child.h"
#include "testing/TemporaryFolder.h"
#include "tests/SimulatorTest.h"

/// The steering tool as a person calls it, in a shell.
using SimctlTest = SimulatorTest;

TEST_F(SimctlTest, SendsItsWordsWholeAndTellsWhatIsWrong)
{
    const std::filesystem::path former = std::filesystem::current_path();
    const TemporaryFolder stage;
    const SteeringSocket socket(simulator, stage / "socket");
    const std::ofstream file(stage / "file");
    {
        const sockaddr_un address = {AF_UNIX, "left"}; // as a killed daemon leaves its socket
        std::filesystem::current_path(stage.folder);
        const Descriptor left(::socket(AF_UNIX, SOCK_STREAM, 0));
        ASSERT_EQ(bind(left.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    plugged(17);
    struct Row
    {
        const char* socket;
        const char* words;
        const char* said; ///< Part of what is said.
        int status = 0;
    };
    for (const auto& [path, words, said, status] :
         {Row{"socket", "change 17 'Label= a  *'", "ok"},
          {"socket", "plug 18 group=16 of=2 order=-1 peer=18 peers=18,19", "ok"},
          {"socket", "fail 18 PersistState 5 2", "ok"},
          {"socket", "hardware 19 7 8", "error no card 19", 1},
          {"socket", "plug 17", "error there is a card 17", 1},
          {"socket", "change 17 Gain", "error a change is", 1},
          {"socket", "fail 17 Typo 1", "error unknown name Typo", 1},
          {"socket", "fail 17 Post 1 0", "error 0 calls", 1},
          {"socket", "</dev/null", ""},
          {"", "--help", "references"},
          {"", "fail --help", "TIMES"},
          {"", "--complete slow 17", "PersistState"},
          {"socket", "--complete unplug", "17"},
          {"", "juggle", "juggle", 1},
          {"", "change 17 Label=Studio A", "not expected: A", 1},
          {"", "change 17 'Label=\n'", "one line", 1},
          {"", "list", "TESSARIG_SIMULATOR_SOCKET is not set", 2},
          {"nowhere", "list", "wrong path, or no daemon on simulated cards runs: there is no socket at nowhere", 2},
          {"file", "list", "wrong path: file is no socket", 2},
          {"left", "list", "the daemon at left is gone", 2}})
    {
        SCOPED_TRACE(std::string(path) + " " + words);
        Child child({"/bin/sh", "-c", "\"$0\" " + std::string(words) + " >said 2>&1", SIMCTL}, "said",
                    {{"TESSARIG_SIMULATOR_SOCKET", path}});
        EXPECT_EQ(child.wait(), status);
        EXPECT_NE(contents("said").find(said), std::string::npos) << contents("said");
    }
    for (const Word& word : allWords)
        EXPECT_EQ(execute(simulator, word.name).find("unknown"), std::string::npos) << word.name;
    EXPECT_EQ(simulator.find(17)->stateOfDevice.PersistState(), S_OK);
    EXPECT_EQ(simulator.find(17)->savedValue("Label"), " a  *");
    std::filesystem::current_path(former);
}
