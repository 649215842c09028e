#include "device/PreferenceChangeListener.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>

#include "testing/Files.h"
#include "tests/SimulatorTest.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

/// How late the calling thread's signals to condition variables are.
static thread_local std::chrono::milliseconds signalDelay{0};

extern "C" int pthread_cond_signal(pthread_cond_t* condition)
{
    std::this_thread::sleep_for(signalDelay);
    return reinterpret_cast<int (*)(pthread_cond_t*)>(dlsym(RTLD_NEXT, "pthread_cond_signal"))(condition);
}

class PreferenceChangeListenerTest : public SimulatorTest
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

    bool isRunning()
    {
        const std::lock_guard lock(listener->mutex);
        return listener->running;
    }

    SharedPreferenceMutex mutex;
    const Simulator::Card card = plugged(17);
    PreferenceChangeListener* listener = nullptr;
};

TEST_F(PreferenceChangeListenerTest, PreparesTheDeviceAndSubscribesToSettingsLast)
{
    listen();
    end();
    EXPECT_EQ(
        calls(17).lines(),
        (Lines{"device.QueryInterface ITessarigHardwareState", "state(device).PrepareDevice",
               "device.QueryInterface ITessarigConfiguration", "configuration.QueryInterface ITessarigHardwareState",
               "device.QueryInterface ITessarigNotification", "notification.Subscribe hwic",
               "notification.Subscribe hwiC", "notification.Subscribe setd", "notification.Unsubscribe setd",
               "notification.Unsubscribe hwic", "notification.Unsubscribe hwiC"}));
}

TEST_F(PreferenceChangeListenerTest, HardwareNotificationsGoIntoTheConfigurationAndWhatIsTakenIsHandled)
{
    listen();
    for (const ResultCode answer : {S_OK, ResultCode(7), E_FAIL})
        for (const auto& [topic, call] : {std::pair(Topic::hwic, "HandleHardwareNotification 5"),
                                          {Topic::hwiC, "HandleHardwareNotificationEx 5 -7"}})
        {
            for (const char* operation : {"HandleHardwareNotification", "HandleHardwareNotificationEx"})
                faults(17).fail(operation, answer);
            EXPECT_EQ(listener->Notify(topic, 0x700000005, -7), S_OK);
            Lines lines = calls(17).lines();
            EXPECT_EQ(lines.back() == "configuration.HardwareNotificationHandled", answer != E_FAIL);
            if (answer != E_FAIL)
                lines.pop_back();
            EXPECT_EQ(lines.back(), std::string("state(configuration).") + call);
        }
    const size_t before = calls(17).lines().size();
    EXPECT_EQ(listener->Notify(Topic::pref, 0, 0), S_OK);
    EXPECT_EQ(listener->Notify(0x68776944, 0, 0), S_OK); // no topic that it knows
    EXPECT_EQ(calls(17).lines().size(), before);

    for (int value = 100; value < 200; ++value)
        card->raise(Topic::hwic, value, 0);
    EXPECT_TRUE(waitForCall(17, "HandleHardwareNotification", 103));
    const Lines lines = calls(17).lines();
    EXPECT_TRUE(std::is_sorted(lines.end() - 100, lines.end())) << "they have overtaken each other";
    end();
}

TEST_F(PreferenceChangeListenerTest, AHardwareNotificationHoldsUpNoSave)
{
    const auto changeAndWait = [this]
    {
        listener->Notify(Topic::setd, 0, 0);
        EXPECT_TRUE(waitForCall(17, "Post"));
    };
    faults(17).interrupt("HandleHardwareNotification", changeAndWait);
    listen();
    listener->Notify(Topic::hwic, 1, 0);
    end();
}

TEST_F(PreferenceChangeListenerTest, IsTheLibrarysCallbackAndNothingElse)
{
    listen();
    void* out = nullptr;
    EXPECT_EQ(listener->QueryInterface(IID_IUnknown, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(listener->QueryInterface(IID_ITessarigNotificationCallback, &out), S_OK);
    EXPECT_EQ(out, static_cast<ITessarigNotificationCallback*>(listener));
    // Members go from the last to the first: the device after what it gave.
    EXPECT_LT(static_cast<void*>(&listener->device.ptr), static_cast<void*>(&listener->configuration.ptr));
    EXPECT_LT(static_cast<void*>(&listener->configuration.ptr), static_cast<void*>(&listener->hardwareState.ptr));
    EXPECT_LT(static_cast<void*>(&listener->hardwareState.ptr), static_cast<void*>(&listener->notification.ptr));
    end(); // the callee's reference was borrowed
}

TEST_F(PreferenceChangeListenerTest, SettingsChangedDuringASaveAreSavedOnceMore)
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

TEST_F(PreferenceChangeListenerTest, AStopDuringASaveLetsItPostAndDropsTheRest)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return waitFor([&] { return !isRunning(); }); };
    listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    listener->Notify(Topic::setd, 0, 0);
    end();
    EXPECT_EQ(count("PersistState"), 1);
    EXPECT_EQ(count("Post"), 1);
}

TEST_F(PreferenceChangeListenerTest, ARequestThatIsSignalledLateIsAnsweredOnce)
{
    simulator.saveSettings = [&](int64_t, const SimulatedCard::Settings&)
    { return count("PersistState") > 1 || waitFor([&] { return isDirty(*listener); }); };
    listen();
    listener->Notify(Topic::setd, 0, 0);
    ASSERT_TRUE(waitForCall(17, "PersistState"));
    signalDelay = 30ms;
    listener->Notify(Topic::setd, 0, 0);
    signalDelay = 0ms;
    EXPECT_TRUE(staysAt(2, [&] { return count("Post"); }));
    end();
}

TEST_F(PreferenceChangeListenerTest, TheLibraryMayEndAThreadInsideACall)
{
    for (const char* call : {"HandleHardwareNotification", "PrepareDevice"}) // its own thread, and the worker
        faults(17).interrupt(call, [] { pthread_exit(nullptr); });
    listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
    ASSERT_TRUE(waitFor([&] { return listener->listening.try_wait(); }));
    end();

    faults(17).interrupt("PrepareDevice", {});
    listen();
    std::atomic<bool> returned = false;
    std::thread([&] { returned = listener->Notify(Topic::hwic, 1, 0) == S_OK; }).join();
    EXPECT_FALSE(returned);
    end();
}

TEST_F(PreferenceChangeListenerTest, ARemovalThatOvertakesTheStartLeavesNoSubscription)
{
    faults(17).slow("PrepareDevice", 50ms);
    faults(17).slow("Subscribe", 5ms);
    listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&card->device));
    end();
    EXPECT_EQ(count("Subscribe"), 3);
    EXPECT_EQ(count("Unsubscribe"), 3);
    EXPECT_EQ(count("PersistState"), 0);
}

TEST_F(PreferenceChangeListenerTest, ASaveComesAtOnceButNotBeforeTheSettlingTimeAndMayThrow)
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
    EXPECT_GE(fastest, PreferenceChangeListener::settleTime);
    EXPECT_LT(fastest, 100ms);
}
