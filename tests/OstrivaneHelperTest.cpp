#include "device/OstrivaneHelper.h"

#include <atomic>
#include <random>

#include "tests/SupervisionTest.h"

using namespace std::chrono_literals;

class OstrivaneHelperTest : public SupervisionTest
{
protected:
    /// One card goes from group to group, of which two make one; plain ones come, and some stay.
    void plugAndUnplug(int64_t worker, std::atomic<int>& cycles)
    {
        for (int i = 0; i < cyclesOfAWorker; ++i, ++cycles)
        {
            simulator.plug(worker, GroupPlace{i % 3, 2, worker, worker, {0, 1, 2, 3, 4, 5, 6, 7}});
            simulator.find(worker)->change("Gain", "1");
            const int64_t plain = (i + int64_t{1}) * workers + worker;
            plugged(plain)->raise(i % 2 ? Topic::setd : Topic::hwic, 1, 0);
            if (i % 8 != 0)
                simulator.unplug(plain);
            simulator.unplug(worker);
        }
    }

    static constexpr int workers = 8;
    static constexpr int cyclesOfAWorker = 120;
};

TEST_F(OstrivaneHelperTest, ADeviceThatLacksSomethingIsKeptAsFarAsItGoes)
{
    struct Row
    {
        std::string spoilt; ///< Fails or throws; an interface behind "@" is absent there.
        int subscriptions = 3;
        int saves = 1;
        int posts = 1;
    };
    std::vector<Row> rows = {{"@ITessarigHardwareState@configuration", 0, 0, 0},
                             {"QueryInterface:ITessarigHardwareState", 0, 0, 0},
                             {"QueryInterface:ITessarigConfiguration", 0, 0, 0},
                             {"QueryInterface:ITessarigNotification", 0},
                             {.spoilt = "QueryInterface:ITessarigTopicBroadcaster", .posts = 0},
                             {"Subscribe", 1},
                             {"Subscribe:hwiC", 2}};
    for (const char* harmless : {"QueryInterface:ITessarigAttributes", "QueryInterface:ITessarigGroupedDevice",
                                 "Subscribe:setd", "Unsubscribe", "HandleHardwareNotification", "GetInt:dgid",
                                 "HardwareNotificationHandled", "PersistState", "PrepareDevice", "Post"})
        rows.push_back({harmless});
    for (const Row& row : rows)
        for (const bool throwing : {false, true})
        {
            SCOPED_TRACE(row.spoilt + (throwing ? " throws" : ""));
            if (row.spoilt.starts_with("@"))
                faults(17).absent(row.spoilt.substr(1));
            spoil(17, row.spoilt, throwing);
            plugged(17);
            ASSERT_EQ(listenedTo(), Ids{17});
            PreferenceChangeListener& listener = *helper->listeners.front();
            listener.listening.wait();
            EXPECT_EQ(listener.Notify(Topic::hwic, 7, 0), S_OK);
            EXPECT_EQ(calls(17).count("HandleHardwareNotification"), row.saves);
            EXPECT_EQ(listener.Notify(Topic::setd, 0, 0), S_OK); // as if it were subscribed in any case
            EXPECT_TRUE(waitFor([&] { return !isDirty(listener); }));
            ASSERT_TRUE(waitForCall(17, "PersistState", row.saves) && waitForCall(17, "Post", row.posts));
            simulator.unplug(17);
            EXPECT_EQ(calls(17).count("Subscribe"), row.subscriptions);
            EXPECT_EQ(calls(17).count("Unsubscribe"), row.subscriptions > 0 ? 3 : 0);
            EXPECT_EQ(calls(17).count("PersistState"), row.saves);
            EXPECT_EQ(calls(17).count("Post"), row.posts);
            EXPECT_TRUE(helper->listeners.empty());
            simulator.reset();
        }
}

TEST_F(OstrivaneHelperTest, TheNewestListenerOfADeviceGoesFirst)
{
    const COMPtr<ITessarig> device(&plugged(1)->device);
    plugged(2);
    helper->deviceArrived(device); // once more
    EXPECT_EQ(listenedTo(), (Ids{1, 2, 1}));
    helper->deviceRemoved(device);
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
    plugged(3);
    simulator.unplug(3);
    helper->deviceRemoved(COMPtr<ITessarig>());
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
    helper.reset(); // ends the newest first
    EXPECT_LT(calls(2).history().back().time, calls(1).history().back().time);
    restart(); // finds what is there already
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
}

TEST_F(OstrivaneHelperTest, NobodyElseWaitsForARemovalWhoseSaveWaitsForAnotherProgram)
{
    plugged(1);
    helper->preferenceMutex.lock();
    PreferenceChangeListener& listener = *helper->listeners.front();
    listener.Notify(Topic::setd, 0, 0);
    EXPECT_TRUE(waitFor([&] { return !isDirty(listener); })); // its worker saves
    std::thread removal([&] { simulator.unplug(1); });
    EXPECT_TRUE(waitForCall(1, "Unsubscribe", 3));
    std::atomic<bool> arrived = false;
    std::thread arrival([&] { arrived = plugged(2) != nullptr; });
    EXPECT_TRUE(waitFor([&] { return arrived.load(); }));
    helper->preferenceMutex.unlock();
    arrival.join();
    removal.join();
    EXPECT_EQ(listenedTo(), Ids{2});
}

TEST_F(OstrivaneHelperTest, AStopDuringAGroupsWorkEndsTheListenersThatItStillMakes)
{
    faults(1).slow("PrepareGroup", 50ms);
    simulator.plug(1, GroupPlace{16, 1, 0, 1, {}});
    EXPECT_TRUE(waitForCall(1, "PrepareGroup"));
    helper.reset();
    EXPECT_EQ(calls(1).count("Unsubscribe"), 3);
}

TEST_F(OstrivaneHelperTest, CardsAndGroupsFromEightThreadsAndAStopAtAnyMoment)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int prepared = 0;
    for (int round = 0; round < 10; ++round)
    {
        const int stopAfter = std::uniform_int_distribution(1, workers * cyclesOfAWorker)(random);
        std::atomic<int> cycles = 0;
        std::vector<std::thread> threads;
        for (int64_t worker = 0; worker < workers; ++worker)
        {
            faults(worker).slow("PrepareGroup", 200us);
            threads.emplace_back([&, worker] { plugAndUnplug(worker, cycles); });
        }
        EXPECT_TRUE(waitFor([&] { return cycles >= stopAfter; }));
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
