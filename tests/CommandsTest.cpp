#include <sstream>

#include "simulator/Commands.h"
#include "tests/SimulatorTest.h"

namespace
{

class CommandsTest : public SimulatorTest
{
protected:
    std::string say(const std::string& line) { return execute(simulator, line); }
};

TEST_F(CommandsTest, ALineWithoutSenseIsAnErrorAndChangesNothing)
{
    ASSERT_EQ(say("plug 17"), "ok");
    std::istringstream lines(";  ;juggle;plug;plug x;plug 17;plug 1 2;plug 99999999999999999999;unplug 18;change 17;"
                             "change 17 Gain;change 17 =1;change 18 Gain=1;hardware 17;hardware 17 x;"
                             "hardware 17 1 2 3;fail 17 PersistState;fail 17 PersistState no;slow 17 PersistState 5;"
                             "slow 17 PersistState ms;slow x PersistState 5ms;absent 17;absent 17 ITypo;fail 17 Typo "
                             "1;slow 17 Typo 5ms;list 1;calls x;references 1");
    for (std::string line; std::getline(lines, line, ';');)
        EXPECT_TRUE(say(line).starts_with("error ")) << line << ": " << say(line);
    EXPECT_EQ(say("list"), "ok 17");
    EXPECT_EQ(say("calls 17"), "ok");
    EXPECT_EQ(say("references"), "ok 0");
}

TEST_F(CommandsTest, AChangeMayHoldBlanksAndEqualsSigns)
{
    const Simulator::Card card = plugged(17);
    EXPECT_EQ(say("change 17 Label=one = two"), "ok");
    EXPECT_EQ(card->stateOfConfiguration.PersistState(), S_OK);
    EXPECT_EQ(card->savedValue("Label"), "one = two");
    EXPECT_EQ(say("fail 17 PersistState 0x80000008"), "ok");
    EXPECT_EQ(card->stateOfConfiguration.PersistState(), E_FAIL);
    EXPECT_EQ(say("calls 17"), "ok state(configuration).PersistState; state(configuration).PersistState");
}

}
