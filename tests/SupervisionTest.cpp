#include <atomic>
#include <filesystem>
#include <random>

#include "device/OstrivaneHelper.h"
#include "simulator/Commands.h"
#include "tests/SimulatorTest.h"

using namespace std::chrono_literals;
using Ids = std::vector<int64_t>;

/// The whole supervision on simulated cards, in this process. Ends with as many threads and descriptors as before.
class SupervisionTest : public SimulatorTest
{
protected:
    SupervisionTest() { restart(); }

    ~SupervisionTest() override
    {
        helper.reset();
        EXPECT_TRUE(waitFor([this] { return entries("/proc/self/task") == threadsBefore; }));
        EXPECT_EQ(entries("/proc/self/fd"), descriptorsBefore);
    }

    void restart()
    {
        helper = std::make_unique<OstrivaneHelper>();
        helper->start();
    }

    /// The cards that have listeners, in the order in which these were made.
    Ids listenedTo()
    {
        Ids ids;
        for (PreferenceChangeListener* listener : helper->listeners)
            for (const int64_t id : simulator.list())
                if (listener->isDevice(COMPtr<ITessarig>(&simulator.find(id)->device)))
                    ids.insert(ids.begin(), id);
        return ids;
    }

    /// How many members of group 16 are gathered, and whether it has a thread.
    std::string state()
    {
        const std::lock_guard lock(helper->groupMutex);
        const auto gathered = helper->gatheredDevices.find(16);
        return std::to_string(gathered == helper->gatheredDevices.end() ? 0 : gathered->second.size()) +
               (helper->groupThreads.count(16) ? " working" : "");
    }

    /// Waits for the group if it is complete, as a removal would.
    void finishGroup()
    {
        for (auto& [id, thread] : helper->groupThreads)
            thread.join();
        helper->groupThreads.clear();
    }

    static long entries(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

    const long threadsBefore = entries("/proc/self/task");
    const long descriptorsBefore = entries("/proc/self/fd");
    std::unique_ptr<OstrivaneHelper> helper;
};

TEST_F(SupervisionTest, ADeviceThatLacksSomethingIsKeptAsFarAsItGoes)
{
    using Row = std::tuple<std::string, int, int, int>; // absent, failing or throwing; subscriptions, saves, posts
    const Row rows[] = {{"@ITessarigHardwareState@configuration", 0, 0, 0},
                        {"QueryInterface:ITessarigHardwareState", 0, 0, 0},
                        {"QueryInterface:ITessarigConfiguration", 0, 0, 0},
                        {"QueryInterface:ITessarigNotification", 0, 1, 1},
                        {"QueryInterface:ITessarigTopicBroadcaster", 3, 1, 0},
                        {"QueryInterface:ITessarigAttributes", 3, 1, 1},
                        {"QueryInterface:ITessarigGroupedDevice", 3, 1, 1},
                        {"Subscribe", 1, 1, 1},
                        {"Subscribe:hwic", 1, 1, 1},
                        {"Subscribe:hwiC", 2, 1, 1},
                        {"Subscribe:setd", 3, 1, 1},
                        {"Unsubscribe", 3, 1, 1},
                        {"HandleHardwareNotification", 3, 1, 1},
                        {"HardwareNotificationHandled", 3, 1, 1},
                        {"GetInt:dgid", 3, 1, 1},
                        {"PersistState", 3, 1, 1},
                        {"PrepareDevice", 3, 1, 1},
                        {"Post", 3, 1, 1}};
    for (size_t i = 0; i < 2 * std::size(rows); ++i)
    {
        const auto& [spoilt, subscribed, saves, posts] = rows[i / 2];
        SCOPED_TRACE(spoilt + (i % 2 ? " throws" : ""));
        if (spoilt.starts_with("@"))
            faults(17).absent(spoilt.substr(1));
        for (const ResultCode code : {E_FAIL, S_OK})
            faults(17).fail("Subscribe:hwic", code); // has ended, so it doesn't stand before "Subscribe"
        spoil(17, spoilt, i % 2);
        plugged(17);
        ASSERT_EQ(helper->listeners.size(), 1U);
        PreferenceChangeListener& listener = *helper->listeners.front();
        listener.listening.wait();
        EXPECT_EQ(listener.Notify(Topic::hwic, 7, 0), S_OK);
        EXPECT_EQ(calls(17).count("HandleHardwareNotification"), saves);
        EXPECT_EQ(listener.Notify(Topic::setd, 0, 0), S_OK); // as if it were subscribed in any case
        EXPECT_TRUE(waitFor([&] { return (std::lock_guard(listener.mutex), !listener.dirty); }));
        ASSERT_TRUE(waitForCall(17, "PersistState", saves) && waitForCall(17, "Post", posts));
        simulator.unplug(17);
        EXPECT_EQ(calls(17).count("Subscribe"), subscribed);
        EXPECT_EQ(calls(17).count("Unsubscribe"), subscribed > 0 ? 3 : 0);
        EXPECT_EQ(calls(17).count("PersistState"), saves);
        EXPECT_EQ(calls(17).count("Post"), posts);
        EXPECT_TRUE(helper->listeners.empty());
        EXPECT_EQ(simulator.ledger.total(), 1);
        simulator.reset();
    }
}

TEST_F(SupervisionTest, TheNewestListenerOfADeviceGoesFirst)
{
    const COMPtr<ITessarig> device(&plugged(1)->device);
    const COMPtr<ITessarig> other(&plugged(2)->device);
    helper->deviceArrived(device); // once more
    EXPECT_EQ(listenedTo(), (Ids{1, 2, 1}));
    helper->deviceRemoved(device);
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
    simulator.unplug((plugged(3), 3));
    helper->deviceRemoved(COMPtr<ITessarig>());
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
    helper.reset(); // ends the newest first
    EXPECT_LT(calls(2).history().back().time, calls(1).history().back().time);
    restart(); // finds what is there already
    EXPECT_EQ(listenedTo(), (Ids{1, 2}));
}

TEST_F(SupervisionTest, NobodyElseWaitsForARemovalWhoseSaveWaitsForAnotherProgram)
{
    plugged(1);
    helper->preferenceMutex.lock();
    simulator.find(1)->change("Gain", "1");
    std::thread removal([&] { simulator.unplug(1); });
    EXPECT_TRUE(waitForCall(1, "Unsubscribe", 3));
    std::atomic<bool> arrived = false;
    std::thread arrival([&] { arrived = plugged(2) != nullptr; });
    EXPECT_TRUE(waitFor([&] { return arrived.load(); }));
    helper->preferenceMutex.unlock();
    arrival.join();
    removal.join();
    EXPECT_EQ(listenedTo(), (Ids{2}));
}

TEST_F(SupervisionTest, NoDeviceIsTakenFromALibraryThatRefuses)
{
    for (const char* call : {"GetInt:eicf", "InstallDeviceNotifications", "CreateTessarigDiscoveryInstance",
                             "CreateTessarigAPIInformationInstance"})
        for (const bool throwing : {false, true})
        {
            SCOPED_TRACE(call);
            helper.reset();
            simulator.reset();
            const std::shared_ptr<Record> api = simulator.recordOf("api");
            api->faults.interrupt("UninstallDeviceNotifications", [] { throw std::bad_alloc(); });
            (throwing ? api->faults.interrupt(call, [] { throw std::bad_alloc(); }) : api->faults.fail(call, 5));
            restart();
            plugged(1);
            EXPECT_TRUE(helper->listeners.empty());
            const int asked = api->calls.count("CreateTessarigDiscoveryInstance");
            if (helper->notifier.discovery)
                helper->notifier.install(); // a second time asks for nothing
            EXPECT_EQ(api->calls.count("CreateTessarigDiscoveryInstance"), asked);
            EXPECT_EQ(helper->notifier.QueryInterface(IID_IUnknown, nullptr), E_NOINTERFACE);
        }
}

TEST_F(SupervisionTest, AGroupsListenersComeInTheOrderOfThePeersOfTheLowestMember)
{
    using Member = std::tuple<int64_t, int64_t, int64_t, Ids>; // id, order, peer id and peers
    // The members in the order of their arrival, a fault of card 1, the listeners, how often the group was prepared.
    using Row = std::tuple<const char*, std::vector<Member>, std::string, Ids, int>;
    const Row rows[] = {
        {"peers of one another", {{3, 2, 3, {}}, {1, 0, 1, {3, 2}}, {2, 1, 2, {}}}, "", {1, 3, 2}, 1},
        {"the first of equals", {{2, 5, 2, {1}}, {1, 5, 1, {2}}}, "", {2, 1}, 1},
        {"negative is lower", {{2, 0, 2, {1}}, {1, -7, 1, {2}}}, "", {1, 2}, 1},
        {"no peers: each by itself", {{3, 3, 3, {}}, {1, 1, 1, {}}, {2, 2, 2, {}}}, "", {1, 2, 3}, 3},
        {"its own peer", {{1, 0, 1, {1, 1, 2}}, {2, 1, 2, {}}}, "", {1, 2}, 1},
        {"two with one key", {{1, 0, 9, {2, 3}}, {2, 1, 9, {}}, {3, 2, 3, {}}}, "", {1, 2, 3}, 1},
        {"a peer that was never gathered", {{1, 0, 1, {8, 2}}, {2, 1, 2, {}}}, "", {1, 2}, 1},
        {"a single member", {{1, 4, 4, {}}}, "", {1}, 1},
        {"no state", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "QueryInterface:ITessarigHardwareState", {}, 0},
        {"no peer interface", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "QueryInterface:ITessarigPeerDevice", {}, 1},
        {"no iterator", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "GetPeerIterator", {}, 1},
        {"no device", {{2, 0, 2, {3, 1}}, {1, 1, 1, {}}, {3, 2, 3, {}}}, "GetDevice", {2, 3, 1}, 2},
        {"no place reads as 0", {{2, 3, 2, {1}}, {1, 9, 1, {2}}}, "GetInt:subi", {1, 2}, 1},
        {"no attributes at all", {{1, 1, 5, {2}}, {2, 0, 2, {1}}}, "GetInt:peid", {2, 1}, 1},
        {"no next peer", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "Next", {1, 2}, 2},
        {"not prepared", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "PrepareGroup", {1, 2}, 1},
        {"no count: complete at once", {{1, 0, 1, {}}}, "GetInt:nsbd", {1}, 1},
    };
    for (size_t i = 0; i < 2 * std::size(rows); ++i)
    {
        const auto& [what, members, fault, expected, preparations] = rows[i / 2];
        SCOPED_TRACE(std::string(what) + (i % 2 ? ", thrown" : ""));
        spoil(1, fault, i % 2);
        for (const auto& [id, order, peer, peers] : members)
            simulator.plug(id, GroupPlace{16, static_cast<int64_t>(members.size()), order, peer, peers});
        finishGroup();
        EXPECT_EQ(listenedTo(), expected);
        EXPECT_EQ(calls(1).count("PrepareGroup") + calls(2).count("PrepareGroup") + calls(3).count("PrepareGroup"),
                  preparations);
        simulator.reset();
        EXPECT_EQ(simulator.ledger.total(), 1);
        EXPECT_TRUE(helper->gatheredDevices.empty());
    }
    // One read of a peer id that goes wrong, whichever, costs nobody; a device that never settles is given up.
    int reads = 1;
    for (int wrong = 0; wrong < reads; ++wrong)
    {
        reads = 0;
        for (const int64_t id : {1, 2, 3})
        {
            faults(id).interrupt("GetInt:peid", [&] { reads++ == wrong ? throw std::bad_alloc() : void(); });
            simulator.plug(id, GroupPlace{16, 3, id, id, {}});
        }
        finishGroup();
        EXPECT_EQ(listenedTo(), (Ids{1, 2, 3})) << wrong;
        simulator.reset();
    }
    faults(1).interrupt("GetInt:peid", [&] { ++reads % 2 == 0 ? throw std::bad_alloc() : void(); });
    simulator.plug(1, GroupPlace{16, 1, 1, 1, {}});
    finishGroup();
    EXPECT_EQ(listenedTo(), Ids{});
    EXPECT_EQ(calls(1).count("PrepareGroup"), 8);
}

TEST_F(SupervisionTest, EveryStateOfAGroupIsEnteredAndLeft)
{
    const auto plugMember = [&](int64_t id, int64_t of) { simulator.plug(id, GroupPlace{16, of, id, id, {1, 2, 3}}); };
    // The card that comes, or goes if negative; its count; the state. Gathered and left; worked, and again only once
    // all have come again; gathered during the work; counted by the latest to come, by one never, by the last at once.
    const std::tuple<int64_t, int64_t, const char*> steps[] = {
        {1, 3, "1"},         {-1, 0, "0"},         {3, 3, "1"},         {1, 3, "2"},         {2, 3, "0 working"},
        {-2, 0, "0"},        {2, 3, "1"},          {-1, 0, "1"},        {-3, 0, "1"},        {-2, 0, "0"},
        {2, 3, "1"},         {3, 3, "2"},          {1, 3, "0 working"}, {4, 3, "1 working"}, {-3, 0, "1"},
        {5, 2, "0 working"}, {6, -1, "1 working"}, {7, 0, "0 working"}};
    for (const auto& [card, of, expected] : steps)
    {
        if (card > 0)
            plugMember(card, of);
        else
            simulator.unplug(-card);
        EXPECT_EQ(state(), expected) << card;
    }
    finishGroup();
    EXPECT_EQ(listenedTo(), (Ids{1, 2, 4, 5, 6, 7}));
    plugMember(9, 3);
    const COMPtr<ITessarig> twice(&simulator.find(9)->device);
    helper->deviceArrived(twice);
    EXPECT_EQ(state(), "2");
    helper->deviceRemoved(twice);
    EXPECT_TRUE(helper->gatheredDevices.empty());

    faults(11).slow("PrepareGroup", 50ms);
    for (const int64_t id : {11, 12, 13})
        plugMember(id, 3);
    simulator.unplug(12); // during the group's work, which makes its listener
    EXPECT_EQ(calls(11).count("PrepareGroup"), 1);
    EXPECT_EQ(helper->listeners.size(), 8U);
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
        // One card a thread goes from group to group, of which two make one; plain ones come and some stay.
        const auto work = [&](int64_t worker)
        {
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
        };
        std::vector<std::thread> threads;
        for (int64_t worker = 0; worker < workers; ++worker)
        {
            faults(worker).slow("PrepareGroup", 200us);
            threads.emplace_back(work, worker);
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
