#include "tests/ControlTest.h"

#include "preferences/SharedPreferenceMutex.h"

TEST_F(ControlTest, LockHoldsTheMutexForAsLongAsAnythingOfTheCommandRuns)
{
    const std::string program = CONTROL_BINARY;
    EXPECT_EQ(control({"lock", "--", "echo", "[a]", "--", "-x", ""}),
              (Outcome{0, "[a] -- -x \n",
                       "ostrivanectl: no daemon runs, so there is no shared mutex: the command runs without it\n"}));
    Child daemon = runDaemon();
    using Row = std::tuple<Lines, int>;
    for (const auto& [words, status] : {Row{{"lock", "--", "sh", "-c", "exit 5"}, 5},
                                        {{"lock", "--", "sh", "-c", "kill -9 $$"}, -1},
                                        {{"lock", "--", "/nowhere"}, 127},
                                        {{"lock", "--", "/etc"}, 126},
                                        {{"lock", "--timeout", "nan", "--", "true"}, 2},
                                        {{"lock", "true"}, 2},
                                        {{"lock"}, 2},
                                        {{"lock", "--"}, 2}})
        EXPECT_EQ(control(words).status, status) << testing::PrintToString(words);

    const std::string held = stage / "held";
    Child command = startControl({"lock", "--", "sh", "-c", "(echo >" + held + "; read line <" + held + "-end)& wait"});
    mkfifo((held + "-end").c_str(), 0600);
}
