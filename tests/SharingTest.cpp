#include <thread>

#include "preferences/SharedPreferenceLock.h"
#include "preferences/SharedPreferenceMutex.h"
#include "tests/ControlTest.h"

/// What other programs are offered: the lock, and the example that uses it.
using SharingTest = ControlTest;

static auto in(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

TEST_F(SharingTest, TheExampleShowsAndChangesASettingBesideTheDaemon)
{
    program = EXAMPLE_BINARY;
    writePreferences(R"(<card id="17"><attribute name="ConversionMode" value="1" /></card>)");
    Child daemon = runDaemon();
    EXPECT_EQ(control({"17", "ConversionMode"}), (Outcome{0, "1 (Letterbox 16:9)\n", ""}));
    EXPECT_EQ(control({"17", "Gain"}), (Outcome{1, "", "setting: 17 has no Gain\n"}));
    EXPECT_EQ(control({"17", "Gain", "0.5"}), (Outcome{0, "", ""}));
    EXPECT_EQ(control({"17", "Gain"}), (Outcome{0, "0.5\n", ""}));

    SharedPreferenceMutex other;
    ASSERT_TRUE(other.open(false));
    other.lock();
    EXPECT_EQ(control({"17", "Gain", "0.7"}).errors,
              "setting: the preferences are in use, by thread " + std::to_string(getpid()) + "\n");
    other.unlock();
    EXPECT_EQ(control({"17", "Gain"}).output, "0.5\n");
    std::ofstream(preferencePath) << "<QuillstonePreferences>\n</>";
    EXPECT_EQ(control({"17", "Gain", "0.7"}).status, 1);
    expectIn(", line 2, column ", controlErrors());
    EXPECT_EQ(contents(preferencePath), "<QuillstonePreferences>\n</>");
}

TEST_F(SharingTest, ALockKnowsWhatStandsAtTheNameAndWhoHasIt)
{
    using std::chrono::milliseconds;
    EXPECT_EQ(SharedPreferenceLock(in(milliseconds(0))).outcome, SharedPreferenceLock::NoSegment);
    std::filesystem::create_directory(segmentPath);
    EXPECT_EQ(SharedPreferenceLock(in(milliseconds(50))).outcome, SharedPreferenceLock::Unusable);
    remove(segmentPath);
    std::ofstream(segmentPath) << std::string(40, '\0'); // whose creator never comes to its mutex
    EXPECT_EQ(SharedPreferenceLock(in(milliseconds(5000))).outcome, SharedPreferenceLock::Unusable);

    // A daemon that is started anew makes another mutex: the wait goes on there, whether or not the old is let go.
    for (const bool letGo : {false, true})
    {
        SharedPreferenceMutex former, next;
        ASSERT_TRUE(former.open(true));
        EXPECT_EQ(SharedPreferenceLock({}).outcome, SharedPreferenceLock::Held);
        EXPECT_EQ(former.holder(), 0);
        former.lock();
        std::thread waiter(
            [&]
            {
                EXPECT_EQ(SharedPreferenceLock(in(milliseconds(10))).outcome, SharedPreferenceLock::TimedOut);
                const SharedPreferenceLock lock(in(milliseconds(5000)));
                EXPECT_EQ(lock.outcome, SharedPreferenceLock::Held);
                SharedPreferenceMutex current; // by the name, which leads to the next one
                EXPECT_TRUE(current.open(false));
                EXPECT_EQ(current.holder(), gettid()) << letGo;
            });
        std::this_thread::sleep_for(milliseconds(100));
        EXPECT_TRUE(next.open(true));
        if (letGo)
            former.unlock();
        waiter.join();
        if (!letGo)
            former.unlock();
    }
}
