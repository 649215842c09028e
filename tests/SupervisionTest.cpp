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
    card->change("Gain", "0.5");
    ASSERT_TRUE(waitForCall(17, "Post"));
    simulator.unplug(17);
    Lines lines = calls(17).lines();
    // The notification and the save run on threads of their own, so their order is theirs; each has its own in itself.
    const Lines hardware = {"state(configuration).HandleHardwareNotification 7",
                            "configuration.HardwareNotificationHandled"};
    const auto first = std::find(lines.begin(), lines.end(), hardware[0]);
    const auto second = std::find(first, lines.end(), hardware[1]);
    ASSERT_NE(second, lines.end());
    lines.erase(second);
    lines.erase(std::find(lines.begin(), lines.end(), hardware[0]));
    EXPECT_EQ(lines,
              (Lines{"device.QueryInterface ITessarigGroupedDevice", "device.QueryInterface ITessarigHardwareState",
                     "state(device).PrepareDevice", "device.QueryInterface ITessarigConfiguration",
                     "configuration.QueryInterface ITessarigHardwareState",
                     "device.QueryInterface ITessarigNotification", "notification.Subscribe hwic",
                     "notification.Subscribe hwiC", "notification.Subscribe setd", "state(configuration).PersistState",
                     "device.QueryInterface ITessarigTopicBroadcaster", "broadcaster.Post pref 0 0",
                     "notification.Unsubscribe setd", "notification.Unsubscribe hwic", "notification.Unsubscribe hwiC",
                     "device.QueryInterface ITessarigAttributes", "attributes.GetInt dgid"}));
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
    const Row rows[] = {{"ITessarigHardwareState", "", 0, 0, 0},
                        {"ITessarigConfiguration", "", 0, 0, 0},
                        {"ITessarigHardwareState@configuration", "", 0, 0, 0},
                        {"ITessarigNotification", "", 0, 0, 0},
                        {"ITessarigTopicBroadcaster", "", 3, 1, 0},
                        {"ITessarigAttributes", "", 3, 1, 1},
                        {"", "Subscribe:hwic", 1, 0, 0},
                        {"", "Subscribe:hwiC", 2, 0, 0},
                        {"", "Subscribe:setd", 3, 0, 0},
                        {"", "PersistState", 3, 1, 1},
                        {"", "PrepareDevice", 3, 1, 1}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(std::string(row.absent) + row.failing);
        faults(17).absent(row.absent);
        faults(17).fail(row.failing, 5);
        const Simulator::Card card = plugged(17);
        ASSERT_EQ(listeners(), 1U);
        helper->listeners.front()->listening.wait();
        card->change("Gain", "1");
        ASSERT_TRUE(waitForCall(17, "PersistState", row.saves));
        ASSERT_TRUE(waitForCall(17, "Post", row.posts));
        simulator.unplug(17);
        EXPECT_EQ(calls(17).count("Subscribe"), row.subscribed);
        EXPECT_EQ(calls(17).count("PersistState"), row.saves);
        EXPECT_EQ(calls(17).count("Post"), row.posts);
        EXPECT_EQ(calls(17).count("Unsubscribe"), row.subscribed > 0 ? 3 : 0);
        EXPECT_EQ(listeners(), 0U);
        EXPECT_EQ(simulator.ledger.total(), 1);
        simulator.reset();
    }
}

TEST_F(SupervisionTest, TheNewestListenerOfADeviceGoesFirst)
{
    const Simulator::Card first = plugged(1);
    const Simulator::Card second = plugged(2);
    const COMPtr<ITessarig> device(&first->device);
    helper->deviceArrived(device); // once more
    ASSERT_EQ(listeners(), 3U);
    PreferenceChangeListener* newest = helper->listeners.front();
    EXPECT_TRUE(newest->isDevice(device));
    helper->deviceRemoved(device);
    ASSERT_EQ(listeners(), 2U);
    EXPECT_FALSE(helper->listeners.front()->isDevice(device));
    EXPECT_TRUE(helper->listeners.back()->isDevice(device));
    helper->deviceRemoved(COMPtr<ITessarig>(&plugged(3)->device));
    helper->deviceRemoved(COMPtr<ITessarig>(&simulator.find(3)->device)); // nobody's any more
    helper->deviceRemoved(COMPtr<ITessarig>());
    EXPECT_EQ(listeners(), 2U);
    helper.reset(); // ends the newest first
    EXPECT_LT(calls(2).history().back().time, calls(1).history().back().time);
}

TEST_F(SupervisionTest, AThousandCardsAndAStopAtAnyMoment)
{
    constexpr int workers = 8;
    constexpr int cards = 1000 / workers;
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 4; ++round)
    {
        const int stopAfter = std::uniform_int_distribution(1, workers * cards)(random);
        std::atomic<int> arrived = 0;
        std::vector<std::thread> threads;
        for (int worker = 0; worker < workers; ++worker)
            threads.emplace_back(
                [&, worker]
                {
                    for (int64_t id = worker * cards; id < (worker + 1) * cards; ++id)
                    {
                        const Simulator::Card card = plugged(id);
                        ++arrived;
                        card->change("Gain", "1");
                        card->raise(Topic::hwic, 1, 0);
                        if (id % 3 != 0)
                            simulator.unplug(id);
                    }
                });
        EXPECT_TRUE(waitFor([&] { return arrived >= stopAfter; }));
        helper.reset();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(simulator.ledger.total(), 0);
        simulator.reset();
        restart();
    }
}

}
