#include "device/PreferenceChangeListener.h"
#include "tests/SimulatorTest.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace
{

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

    bool is(bool PreferenceChangeListener::*flag)
    {
        const std::lock_guard lock(listener->mutex);
        return listener->*flag;
    }

    int saves() { return calls(17).count("PersistState"); }
    int posts() { return calls(17).count("Post"); }

    SharedPreferenceMutex mutex;
    const Simulator::Card card = plugged(17);
    PreferenceChangeListener* listener = nullptr;
};

TEST_F(ListenerTest, SettingsChangedDuringASaveAreSavedOnceMore)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return saves() > 1 || waitForCall(17, "HardwareNotificationHandled"); };
    listen();
    card->change("Gain", "0.5");
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    card->change("Gain", "0.6");
    card->change("Gain", "0.7");
    card->raise(Topic::hwic, 1, 0); // comes behind them, and the first save ends

    EXPECT_TRUE(staysAt(2, [&] { return posts(); }));
    EXPECT_EQ(saves(), 2);
    EXPECT_EQ(card->savedValue("Gain"), "0.7");
    end();
}

TEST_F(ListenerTest, AStopDuringASaveLetsItPostAndDropsTheRest)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return waitFor([&] { return !is(&PreferenceChangeListener::running); }); };
    listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    listener->Notify(Topic::setd, 0, 0);
    end();
    EXPECT_EQ(saves(), 1);
    EXPECT_EQ(posts(), 1);
}

TEST_F(ListenerTest, ARemovalThatOvertakesTheStartLeavesNoSubscription)
{
    faults(17).slow("PrepareDevice", 50ms);
    faults(17).slow("Subscribe", 5ms);
    listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
    end();
    EXPECT_EQ(calls(17).count("Subscribe"), 3);
    EXPECT_EQ(calls(17).count("Unsubscribe"), 3);
    EXPECT_EQ(saves(), 0);
}

TEST_F(ListenerTest, APassWithoutInterfacesCallsNothing)
{
    faults(17).absent("ITessarigHardwareState");
    listen();
    EXPECT_EQ(listener->Notify(Topic::hwic, 0, 0), S_OK);
    EXPECT_EQ(listener->Notify(Topic::setd, 0, 0), S_OK);
    EXPECT_TRUE(waitFor([&] { return !is(&PreferenceChangeListener::dirty); }));
    end();
    EXPECT_EQ(calls(17).lines(), (std::vector<std::string>{"device.QueryInterface ITessarigHardwareState"}));
}

TEST_F(ListenerTest, AHardwareNotificationGoesIntoTheDeviceAtOnce)
{
    listen();
    for (const ResultCode answer : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        for (const auto& [topic, call] : {std::pair(Topic::hwic, "HandleHardwareNotification 7"),
                                          std::pair(Topic::hwiC, "HandleHardwareNotificationEx 7 -9")})
        {
            faults(17).fail(std::string(call).substr(0, std::string(call).find(' ')), answer);
            const size_t before = calls(17).lines().size();
            EXPECT_EQ(listener->Notify(topic, 0x1200000007, -9), S_OK);
            EXPECT_EQ(calls(17).lines().at(before), std::string("state(configuration).") + call);
            EXPECT_EQ(calls(17).lines().size(), before + (answer < 0x80000000 ? 2 : 1)) << "handled if not negative";
        }
    EXPECT_EQ(listener->Notify(Topic::pref, 0, 0), S_OK);
    EXPECT_TRUE(staysAt(0, [&] { return saves(); }));
    end();
}

TEST_F(ListenerTest, IsKnownByItsOneInterfaceAndItsDevice)
{
    listen();
    void* out = nullptr;
    EXPECT_EQ(listener->QueryInterface(IID_IUnknown, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(listener->QueryInterface(IID_ITessarigNotificationCallback, &out), S_OK);
    EXPECT_EQ(out, static_cast<ITessarigNotificationCallback*>(listener));
    EXPECT_TRUE(listener->isDevice(COMPtr<ITessarig>(&card->device)));
    EXPECT_FALSE(listener->isDevice(COMPtr<ITessarig>(&plugged(18)->device)));
    end(); // the one reference that there ever was
}

TEST_F(ListenerTest, ASaveComesAtOnceButNotBeforeTheSettlingTimeAndMayThrow)
{
    auto fastest = steady_clock::duration::max();
    steady_clock::time_point asked;
    std::atomic<int> rounds = 0;
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&) -> bool
    {
        fastest = std::min(fastest, steady_clock::now() - asked);
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
    faults(17).fail("PersistState", 5);
    listener->Notify(Topic::setd, 0, 0);
    EXPECT_TRUE(waitForCall(17, "Post"));
    end();
    EXPECT_GE(fastest, 500us);
    EXPECT_LT(fastest, 100ms);
}

}
