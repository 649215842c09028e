#include "device/PreferenceChangeListener.h"
#include "tests/SimulatorTest.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

class ListenerTest : public SimulatorTest
{
protected:
    void listen()
    {
        listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
        listener->listening.wait();
    }

    void end()
    {
        listener->unsubscribe();
        EXPECT_EQ(listener->Release(), 0);
    }

    int count(const char* call) { return calls(17).count(call); }

    SharedPreferenceMutex mutex;
    const Simulator::Card card = plugged(17);
    PreferenceChangeListener* listener = nullptr;
};

TEST_F(ListenerTest, SettingsChangedDuringASaveAreSavedOnceMore)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return count("PersistState") > 1 || waitForCall(17, "HardwareNotificationHandled"); };
    listen();
    card->change("Gain", "0.5");
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    card->change("Gain", "0.6");
    card->change("Gain", "0.7");
    card->raise(Topic::hwic, 1, 0); // comes behind them, and the first save ends

    EXPECT_TRUE(staysAt(2, [&] { return count("Post"); }));
    EXPECT_EQ(count("PersistState"), 2);
    EXPECT_EQ(card->savedValue("Gain"), "0.7");
    end();
}

TEST_F(ListenerTest, AStopDuringASaveLetsItPostAndDropsTheRest)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return waitFor([&] { return (std::lock_guard(listener->mutex), !listener->running); }); };
    listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    listener->Notify(Topic::setd, 0, 0);
    end();
    EXPECT_EQ(count("PersistState"), 1);
    EXPECT_EQ(count("Post"), 1);
}

TEST_F(ListenerTest, AThreadOfTheLibraryMayEndInsideANotification)
{
    listen();
    faults(17).interrupt("HandleHardwareNotification", [] { pthread_exit(nullptr); });
    std::atomic<bool> returned = false;
    std::thread([&] { returned = listener->Notify(Topic::hwic, 1, 0) == S_OK; }).join();
    EXPECT_FALSE(returned);
    end();
}

TEST_F(ListenerTest, ARemovalThatOvertakesTheStartLeavesNoSubscription)
{
    faults(17).slow("PrepareDevice", 50ms);
    faults(17).slow("Subscribe", 5ms);
    listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
    end();
    EXPECT_EQ(count("Subscribe"), 3);
    EXPECT_EQ(count("Unsubscribe"), 3);
    EXPECT_EQ(count("PersistState"), 0);
}

TEST_F(ListenerTest, ASaveComesAtOnceButNotBeforeTheSettlingTimeAndMayThrow)
{
    auto fastest = steady_clock::duration::max();
    std::atomic<steady_clock::time_point> asked;
    std::atomic<int> rounds = 0;
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&) -> bool
    {
        fastest = std::min(fastest, steady_clock::now() - asked.load());
        ++rounds;
        throw std::bad_alloc();
    };
    listen();
    for (int round = 1; round <= 8; ++round) // of which a busy machine leaves one undisturbed
    {
        asked = steady_clock::now();
        listener->Notify(Topic::setd, 0, 0);
        ASSERT_TRUE(waitFor([&] { return rounds == round; }));
    }
    end();
    EXPECT_EQ(count("Post"), 8);
    EXPECT_GE(fastest, 500us);
    EXPECT_LT(fastest, 100ms);
}
