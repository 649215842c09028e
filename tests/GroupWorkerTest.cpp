#include <pthread.h>

#include <new>
#include <utility>

#include "tests/SupervisionTest.h"

using namespace std::chrono_literals;

/// Groups of cards: how they gather, and what their thread makes of them.
class GroupWorkerTest : public SupervisionTest
{
protected:
    struct Member
    {
        int64_t id;
        int64_t order = 0;
        int64_t peer = 0;
        Ids peers = {};
    };

    void plugGroup(const std::vector<Member>& members)
    {
        const auto count = static_cast<int64_t>(members.size());
        for (const auto& [id, order, peer, peers] : members)
            simulator.plug(id, GroupPlace{16, count, order, peer, peers});
    }

    void plugMember(int64_t id, int64_t of) { simulator.plug(id, GroupPlace{16, of, id, id, {1, 2, 3}}); }

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

    int preparations()
    {
        int sum = 0;
        for (const int64_t id : simulator.list())
            sum += calls(id).count("PrepareGroup");
        return sum;
    }
};

TEST_F(GroupWorkerTest, ListenersComeInTheOrderOfThePeersOfTheLowestMemberAsFarAsNothingIsLacking)
{
    struct Row
    {
        std::string what;            ///< Or, behind "!", what fails or throws on card 1.
        std::vector<Member> members; ///< In the order of their arrival.
        Ids listeners;
        int preparations = 1;
    };
    const std::vector<Member> pair = {{1, 0, 1, {2}}, {2, 1, 2}};
    for (const Row& row : {Row{"peers of one another", {{3, 2, 3}, {1, 0, 1, {3, 2}}, {2, 1, 2}}, {1, 3, 2}},
                           {"the first of equals", {{2, 5, 2, {1}}, {1, 5, 1, {2}}}, {2, 1}},
                           {"negative is lower", {{2, 0, 2, {1}}, {1, -7, 1, {2}}}, {1, 2}},
                           {"no peers: each by itself", {{3, 3, 3}, {1, 1, 1}, {2, 2, 2}}, {1, 2, 3}, 3},
                           {"its own peer", {{1, 0, 1, {1, 1, 2}}, {2, 1, 2}}, {1, 2}},
                           {"two with one key", {{1, 0, 9, {2, 3}}, {2, 1, 9}, {3, 2, 3}}, {1, 2, 3}},
                           {"a peer that was never gathered", {{1, 0, 1, {8, 2}}, {2, 1, 2}}, {1, 2}},
                           {"a single member", {{1, 4, 4}}, {1}},
                           {"!QueryInterface:ITessarigHardwareState", pair, {}, 0},
                           {"!QueryInterface:ITessarigPeerDevice", pair, {}},
                           {"!GetPeerIterator", pair, {}},
                           {"!PrepareGroup", pair, {1, 2}},
                           {"!Next", pair, {1, 2}, 2},
                           {"!GetDevice", {{2, 0, 2, {3, 1}}, {1, 1, 1}, {3, 2, 3}}, {2, 3, 1}, 2},
                           {"!GetInt:subi", {{2, 3, 2, {1}}, {1, 9, 1, {2}}}, {1, 2}}, // reads as 0
                           {"!GetInt:peid", {{1, 1, 5, {2}}, {2, 0, 2, {1}}}, {2, 1}},
                           {"!GetInt:nsbd", {{1, 0, 1}}, {1}}}) // complete at once
        for (const bool throwing : {false, true})
        {
            SCOPED_TRACE(row.what + (throwing ? " throws" : ""));
            if (row.what.starts_with("!"))
                spoil(1, row.what.substr(1), throwing);
            plugGroup(row.members);
            finishGroup();
            EXPECT_EQ(listenedTo(), row.listeners);
            EXPECT_EQ(preparations(), row.preparations);
            simulator.reset();
            EXPECT_TRUE(helper->gatheredDevices.empty());
        }
}

TEST_F(GroupWorkerTest, AReadThatGoesWrongCostsNobodyAndADeviceThatNeverSettlesIsGivenUp)
{
    int reads = 1;
    for (int wrong = 0; wrong < reads; ++wrong) // one after the other
    {
        reads = 0;
        for (const int64_t id : {1, 2, 3})
            faults(id).interrupt("GetInt:peid", [&] { reads++ == wrong ? throw std::bad_alloc() : void(); });
        plugGroup({{1, 1, 1}, {2, 2, 2}, {3, 3, 3}});
        finishGroup();
        EXPECT_EQ(listenedTo(), (Ids{1, 2, 3})) << wrong;
        simulator.reset();
    }

    bool second = false, unread = false;
    const Ids nine = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    std::vector<Member> members;
    for (const int64_t id : nine) // each is found in its second sweep
    {
        faults(id).interrupt("PrepareGroup", [&] { unread = !std::exchange(second, !second); });
        faults(id).interrupt("GetInt:peid", [&] { std::exchange(unread, false) ? throw std::bad_alloc() : void(); });
        members.push_back({id, id, id});
    }
    plugGroup(members);
    finishGroup();
    EXPECT_EQ(listenedTo(), nine);
    simulator.reset();

    reads = 0;
    faults(1).interrupt("GetInt:peid", [&] { ++reads % 2 == 0 ? throw std::bad_alloc() : void(); });
    plugGroup({{1, 1, 1}});
    finishGroup();
    EXPECT_EQ(listenedTo(), Ids{});
    EXPECT_EQ(preparations(), 8);
}

TEST_F(GroupWorkerTest, EveryStateOfAGroupIsEnteredAndLeft)
{
    struct Step
    {
        int64_t card; ///< Comes, or goes if negative.
        int64_t of;
        const char* state;
    };
    // Gathered and left; worked, and again only once all have come again; gathered during the work; counted by the
    // latest to come, by one never, by the last at once.
    const Step steps[] = {{1, 3, "1"},          {-1, 0, "0"},        {3, 3, "1"},  {1, 3, "2"},
                          {2, 3, "0 working"},  {-2, 0, "0"},        {2, 3, "1"},  {-1, 0, "1"},
                          {-3, 0, "1"},         {-2, 0, "0"},        {2, 3, "1"},  {3, 3, "2"},
                          {1, 3, "0 working"},  {4, 3, "1 working"}, {-3, 0, "1"}, {5, 2, "0 working"},
                          {6, -1, "1 working"}, {7, 0, "0 working"}};
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
    const COMPtr<ITessarig> again(&simulator.find(9)->device);
    helper->deviceArrived(again);
    EXPECT_EQ(state(), "2");
    helper->deviceRemoved(again);
    EXPECT_TRUE(helper->gatheredDevices.empty());
}

TEST_F(GroupWorkerTest, ARemovalDuringTheWorkLeavesNoListener)
{
    char thread[16] = "";
    faults(1).interrupt("PrepareGroup", [&] { pthread_getname_np(pthread_self(), thread, sizeof thread); });
    faults(1).slow("PrepareGroup", 50ms);
    for (const int64_t id : {1, 2, 3})
        plugMember(id, 3);
    simulator.unplug(2); // whose listener the work makes
    EXPECT_EQ(calls(1).count("PrepareGroup"), 1);
    EXPECT_EQ(thread, std::string("group 16"));
    EXPECT_EQ(helper->listeners.size(), 2U);
}
