#include <atomic>
#include <random>

#include "tests/SupervisionTest.h"

using namespace std::chrono_literals;

namespace
{

using Lines = std::vector<std::string>;

TEST_F(SupervisionTest, ADeviceSeesItsCallsInOrder)
{
    const Simulator::Card card = plugged(17);
    ASSERT_TRUE(waitForCall(17, "Subscribe", 3));
    card->raise(Topic::hwic, 7, 0);
    ASSERT_TRUE(waitForCall(17, "HardwareNotificationHandled"));
    card->change("Gain", "0.5");
    ASSERT_TRUE(waitForCall(17, "Post"));
    simulator.unplug(17);
    EXPECT_EQ(
        calls(17).lines(),
        (Lines{"device.QueryInterface ITessarigGroupedDevice", "device.QueryInterface ITessarigHardwareState",
               "state(device).PrepareDevice", "device.QueryInterface ITessarigConfiguration",
               "configuration.QueryInterface ITessarigHardwareState", "device.QueryInterface ITessarigNotification",
               "notification.Subscribe hwic", "notification.Subscribe hwiC", "notification.Subscribe setd",
               "state(configuration).HandleHardwareNotification 7", "configuration.HardwareNotificationHandled",
               "state(configuration).PersistState", "device.QueryInterface ITessarigTopicBroadcaster",
               "broadcaster.Post pref 0 0", "notification.Unsubscribe setd", "notification.Unsubscribe hwic",
               "notification.Unsubscribe hwiC", "device.QueryInterface ITessarigAttributes",
               "attributes.GetInt dgid"}));
    EXPECT_EQ(simulator.ledger.counts(), (std::map<std::string, int64_t>{{"discovery", 1}}));
}

TEST_F(SupervisionTest, ADeviceThatLacksSomethingIsKeptAsFarAsItGoes)
{
    struct Row
    {
        const char* absent;
        const char* failing;
        int subscribed;
        int saves;
        int posts;
    };
    for (const Row& row : {Row{"ITessarigHardwareState", "", 0, 0, 0},
                           {"ITessarigConfiguration", "", 0, 0, 0},
                           {"ITessarigHardwareState@configuration", "", 0, 0, 0},
                           {"ITessarigNotification", "", 0, 0, 0},
                           {"ITessarigTopicBroadcaster", "", 3, 1, 0},
                           {"ITessarigAttributes", "", 3, 1, 1},
                           {"", "Subscribe:hwic", 1, 0, 0},
                           {"", "Subscribe:hwiC", 2, 0, 0},
                           {"", "Subscribe:setd", 3, 0, 0},
                           {"", "PersistState", 3, 1, 1},
                           {"", "PrepareDevice", 3, 1, 1}})
    {
        SCOPED_TRACE(std::string(row.absent) + row.failing);
        faults(17).absent(row.absent);
        faults(17).fail(row.failing, 5);
        const Simulator::Card card = plugged(17);
        ASSERT_EQ(helper->listeners.size(), 1U);
        helper->listeners.front()->listening.wait();
        card->change("Gain", "1");
        ASSERT_TRUE(waitForCall(17, "PersistState", row.saves));
        ASSERT_TRUE(waitForCall(17, "Post", row.posts));
        simulator.unplug(17);
        const std::pair<const char*, int> expected[] = {{"Subscribe", row.subscribed},
                                                        {"Unsubscribe", row.subscribed > 0 ? 3 : 0},
                                                        {"PersistState", row.saves},
                                                        {"Post", row.posts}};
        for (const auto& [call, count] : expected)
            EXPECT_EQ(calls(17).count(call), count) << call;
        EXPECT_TRUE(helper->listeners.empty());
        EXPECT_EQ(simulator.ledger.total(), 1);
        simulator.reset();
    }
}

TEST_F(SupervisionTest, TheNewestListenerOfADeviceGoesFirst)
{
    const COMPtr<ITessarig> device(&plugged(1)->device);
    plugged(2);
    helper->deviceArrived(device); // once more
    ASSERT_EQ(helper->listeners.size(), 3U);
    EXPECT_TRUE(helper->listeners.front()->isDevice(device));
    helper->deviceRemoved(device);
    ASSERT_EQ(helper->listeners.size(), 2U);
    EXPECT_FALSE(helper->listeners.front()->isDevice(device));
    EXPECT_TRUE(helper->listeners.back()->isDevice(device));
    helper->deviceRemoved(COMPtr<ITessarig>(&plugged(3)->device));
    helper->deviceRemoved(COMPtr<ITessarig>(&simulator.find(3)->device)); // nobody's any more
    helper->deviceRemoved(COMPtr<ITessarig>());
    EXPECT_EQ(helper->listeners.size(), 2U);
    helper.reset(); // ends the newest first
    EXPECT_LT(calls(2).history().back().time, calls(1).history().back().time);
}

TEST_F(SupervisionTest, CardsAndGroupsFromEightThreadsAndAStopAtAnyMoment)
{
    constexpr int workers = 8;
    constexpr int cycles = 120;
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int prepared = 0;
    for (int round = 0; round < 10; ++round)
    {
        const int stopAfter = std::uniform_int_distribution(1, workers * cycles)(random);
        std::atomic<int> done = 0;
        std::vector<std::thread> threads;
        for (int64_t worker = 0; worker < workers; ++worker)
        {
            faults(worker).slow("PrepareGroup", 200us);
            threads.emplace_back(
                [&, worker]
                {
                    // One card a thread goes from group to group, of which two make one; plain ones come and some stay.
                    for (int i = 0; i < cycles; ++i, ++done)
                    {
                        simulator.plug(worker, GroupPlace{i % 3, 2, worker, worker, {0, 1, 2, 3, 4, 5, 6, 7}});
                        simulator.find(worker)->change("Gain", "1");
                        const int64_t plain = (i + 1) * workers + worker;
                        plugged(plain)->raise(i % 2 ? Topic::setd : Topic::hwic, 1, 0);
                        if (i % 8 != 0)
                            simulator.unplug(plain);
                        simulator.unplug(worker);
                    }
                });
        }
        EXPECT_TRUE(waitFor([&] { return done >= stopAfter; }));
        helper.reset();
        for (std::thread& thread : threads)
            thread.join();
        for (int64_t worker = 0; worker < workers; ++worker)
            prepared += calls(worker).count("PrepareGroup");
        EXPECT_EQ(simulator.ledger.total(), 0);
        simulator.reset();
        restart();
    }
    EXPECT_GT(prepared, 10) << "hardly a group was complete";
}

}
