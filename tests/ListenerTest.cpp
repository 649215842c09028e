#include "device/PreferenceChangeListener.h"
#include "tests/SimulatorTest.h"

using namespace std::chrono_literals;

namespace
{

class ListenerTest : public SimulatorTest
{
protected:
    PreferenceChangeListener* listen()
    {
        return new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
    }

    static void end(PreferenceChangeListener* listener)
    {
        listener->unsubscribe();
        EXPECT_EQ(listener->Release(), 0);
    }

    int saves() { return calls(17).count("PersistState"); }
    int posts() { return calls(17).count("Post"); }

    SharedPreferenceMutex mutex;
    const Simulator::Card card = plugged(17);
};

TEST_F(ListenerTest, SettingsChangedDuringASaveAreSavedOnceMore)
{
    faults(17).slow("PersistState", 50ms);
    PreferenceChangeListener* listener = listen();
    ASSERT_TRUE(waitForCall(17, "Subscribe", 3));
    card->change("Gain", "0.5");
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    card->change("Gain", "0.6");
    card->change("Gain", "0.7");

    EXPECT_TRUE(staysAt(2, [&] { return posts(); }));
    EXPECT_EQ(saves(), 2);
    EXPECT_EQ(card->savedValue("Gain"), "0.7");
    end(listener);
}

TEST_F(ListenerTest, RequestsBeforeTheFirstSaveMakeOneSave)
{
    faults(17).slow("PrepareDevice", 50ms);
    PreferenceChangeListener* listener = listen();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(listener->Notify(Topic::setd, 0, 0), S_OK);
    EXPECT_TRUE(staysAt(1, [&] { return posts(); }));
    EXPECT_EQ(saves(), 1);
    EXPECT_EQ(listener->Notify(Topic::pref, 0, 0), S_OK);
    EXPECT_TRUE(staysAt(1, [&] { return saves(); }));
    end(listener);
}

TEST_F(ListenerTest, AStopDuringASaveLetsItPostAndDropsTheRest)
{
    faults(17).slow("PersistState", 50ms);
    PreferenceChangeListener* listener = listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    listener->Notify(Topic::setd, 0, 0);
    end(listener);
    EXPECT_EQ(saves(), 1);
    EXPECT_EQ(posts(), 1);
}

TEST_F(ListenerTest, AStopWithNothingBegunSavesNothing)
{
    faults(17).slow("PrepareDevice", 50ms);
    faults(17).absent("ITessarigNotification");
    PreferenceChangeListener* listener = listen();
    listener->Notify(Topic::setd, 0, 0);
    EXPECT_EQ(listener->Release(), 0); // while the worker still prepares the device
    EXPECT_EQ(saves(), 0);
}

TEST_F(ListenerTest, ARemovalThatOvertakesTheStartLeavesNoSubscription)
{
    faults(17).slow("PrepareDevice", 50ms);
    faults(17).slow("Subscribe", 5ms);
    end(listen());
    EXPECT_EQ(calls(17).count("Subscribe"), 3);
    EXPECT_EQ(calls(17).count("Unsubscribe"), 3);
    card->raise(Topic::setd, 0, 0);
    EXPECT_TRUE(staysAt(0, [&] { return saves(); }));
}

TEST_F(ListenerTest, APassWithoutInterfacesCallsNothing)
{
    faults(17).absent("ITessarigHardwareState");
    PreferenceChangeListener* listener = listen();
    listener->Notify(Topic::setd, 0, 0);
    EXPECT_TRUE(waitFor(
        [&]
        {
            const std::lock_guard lock(listener->mutex);
            return !listener->dirty;
        }));
    end(listener);
    EXPECT_EQ(calls(17).lines(), (std::vector<std::string>{"device.QueryInterface ITessarigHardwareState"}));

    PreferenceChangeListener* empty = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>());
    empty->Notify(Topic::setd, 0, 0);
    end(empty);
}

TEST_F(ListenerTest, AHardwareNotificationGoesIntoTheDeviceAtOnce)
{
    struct Row
    {
        uint32_t topic;
        ResultCode answer;
        const char* call;
        int handled;
    };
    const Row rows[] = {{Topic::hwic, 0, "HandleHardwareNotification 7", 1},
                        {Topic::hwic, 1, "HandleHardwareNotification 7", 2},
                        {Topic::hwic, 0x80000000, "HandleHardwareNotification 7", 2},
                        {Topic::hwiC, 0, "HandleHardwareNotificationEx 7 -9", 3},
                        {Topic::hwiC, 0xFFFFFFFF, "HandleHardwareNotificationEx 7 -9", 3}};
    PreferenceChangeListener* listener = listen();
    ASSERT_TRUE(waitForCall(17, "Subscribe", 3));
    for (const Row& row : rows)
    {
        faults(17).fail("HandleHardwareNotification", row.answer);
        faults(17).fail("HandleHardwareNotificationEx", row.answer);
        const size_t before = calls(17).lines().size();
        EXPECT_EQ(listener->Notify(row.topic, 0x1200000007, -9), S_OK);
        EXPECT_EQ(calls(17).lines().at(before), std::string("state(configuration).") + row.call);
        EXPECT_EQ(calls(17).count("HardwareNotificationHandled"), row.handled);
    }
    EXPECT_TRUE(staysAt(0, [&] { return saves(); }));
    end(listener);
}

TEST_F(ListenerTest, IsKnownByItsOneInterfaceAndItsDevice)
{
    PreferenceChangeListener* listener = listen();
    void* out = nullptr;
    EXPECT_EQ(listener->QueryInterface(IID_IUnknown, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(listener->QueryInterface(IID_ITessarigNotificationCallback, &out), S_OK);
    EXPECT_EQ(out, static_cast<ITessarigNotificationCallback*>(listener));

    const Simulator::Card other = plugged(18);
    EXPECT_TRUE(listener->isDevice(COMPtr<ITessarig>(&card->device)));
    EXPECT_FALSE(listener->isDevice(COMPtr<ITessarig>(&other->device)));
    end(listener);
}

TEST_F(ListenerTest, AFailedOrThrowingSaveCostsThatSaveOnly)
{
    simulator.saveSettings = [](int64_t, const SimulatedCard::Settings&) -> bool { throw std::bad_alloc(); };
    PreferenceChangeListener* listener = listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState", 1));
    faults(17).fail("PersistState", 5);
    listener->Notify(Topic::setd, 0, 0);
    EXPECT_TRUE(waitForCall(17, "Post", 1));
    end(listener);
}

}
