#include "device/TessarigNotifier.h"

#include <atomic>
#include <new>
#include <thread>

#include "tests/SimulatorTest.h"

/// A link to a library on which a card is plugged already.
class TessarigNotifierTest : public SimulatorTest
{
protected:
    TessarigNotifierTest() { plugged(17); }

    void start()
    {
        notifier.start([this](const COMPtr<ITessarig>&) { ++arrivals; },
                       [this](const COMPtr<ITessarig>&) { ++removals; });
    }

    Record& library() { return *simulator.recordOf("api"); }

    TessarigNotifier notifier;
    int arrivals = 0;
    int removals = 0;
};

TEST_F(TessarigNotifierTest, ReportsWhatIsThereAndWhatComesAndGoesUntilItIsUninstalled)
{
    start();
    EXPECT_EQ(arrivals, 1);
    notifier.install(); // a second time asks for nothing
    EXPECT_EQ(library().calls.count("CreateTessarigDiscoveryInstance"), 1);
    plugged(18);
    simulator.unplug(17);
    EXPECT_EQ(arrivals, 2);
    EXPECT_EQ(removals, 1);
    notifier.uninstall();
    simulator.unplug(18);
    EXPECT_EQ(removals, 1);
    EXPECT_EQ(notifier.refCount, 1);
    EXPECT_EQ(notifier.QueryInterface(IID_IUnknown, nullptr), E_NOINTERFACE);
}

TEST_F(TessarigNotifierTest, IsCalledNoMoreOnceItIsUninstalled)
{
    std::atomic<bool> called = false, returned = false;
    const auto arrive = [&](const COMPtr<ITessarig>&)
    {
        called = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        returned = true;
    };
    simulator.unplug(17);
    notifier.start(arrive, {});
    std::thread arrival([this] { plugged(18); });
    EXPECT_TRUE(waitFor([&] { return called.load(); }));
    notifier.uninstall();
    EXPECT_TRUE(returned);
    arrival.join();
}

TEST_F(TessarigNotifierTest, NoDeviceComesFromALibraryThatRefuses)
{
    const auto fail = [] { throw std::bad_alloc(); };
    for (const char* call : {"GetInt:eicf", "InstallDeviceNotifications", "CreateTessarigDiscoveryInstance",
                             "CreateTessarigAPIInformationInstance"})
        for (const bool throwing : {false, true})
        {
            SCOPED_TRACE(call);
            throwing ? library().faults.interrupt(call, fail) : library().faults.fail(call, 5);
            library().faults.interrupt("UninstallDeviceNotifications", fail);
            start();
            EXPECT_EQ(arrivals, 0);
            notifier.uninstall();
            EXPECT_EQ(simulator.ledger.total(), 0);
            simulator.reset();
            plugged(17);
        }
}

TEST_F(TessarigNotifierTest, WhatACallbackThrowsDoesNotReachTheLibrary)
{
    const auto fail = [](const COMPtr<ITessarig>&) { throw std::bad_alloc(); };
    notifier.start(fail, fail);
    EXPECT_NO_THROW(plugged(18));
    EXPECT_NO_THROW(simulator.unplug(18));
}
