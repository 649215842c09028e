#include "simulator/Commands.h"
#include "tests/SupervisionTest.h"

using namespace std::chrono_literals;

namespace
{

using Ids = std::vector<int64_t>;

class GroupTest : public SupervisionTest
{
protected:
    /// Waits for the groups that are complete, as a removal would.
    void finishGroups()
    {
        const std::lock_guard lock(helper->groupMutex);
        for (auto& [id, thread] : helper->groupThreads)
            thread.join();
        helper->groupThreads.clear();
    }

    /// The cards that have listeners, in the order in which these were made.
    Ids listenedTo()
    {
        Ids ids;
        for (auto listener = helper->listeners.rbegin(); listener != helper->listeners.rend(); ++listener)
            for (const int64_t id : simulator.list())
                if ((*listener)->isDevice(COMPtr<ITessarig>(&simulator.find(id)->device)))
                    ids.push_back(id);
        return ids;
    }

    /// "gathered threads", by number, of group 16.
    std::string state()
    {
        const std::lock_guard lock(helper->groupMutex);
        const auto gathered = helper->gatheredDevices.find(16);
        return std::to_string(gathered == helper->gatheredDevices.end() ? 0 : gathered->second.size()) + " " +
               std::to_string(helper->groupThreads.count(16));
    }

    void plugMember(int64_t id, int64_t of) { simulator.plug(id, GroupPlace{16, of, id, id, {1, 2, 3}}); }
};

TEST_F(GroupTest, ListenersComeInTheOrderOfThePeersOfTheLowestMember)
{
    struct Member
    {
        int64_t id;
        int64_t order;
        int64_t peer;
        Ids peers;
    };
    struct Row
    {
        const char* what;
        std::vector<Member> members; ///< In the order of their arrival.
        const char* fault;           ///< Of card 1.
        Ids listeners;
        int preparations;
    };
    const Row rows[] = {
        {"peers of one another", {{3, 2, 3, {}}, {1, 0, 1, {3, 2}}, {2, 1, 2, {}}}, "", {1, 3, 2}, 1},
        {"the first of equals", {{2, 5, 2, {1}}, {1, 5, 1, {2}}}, "", {2, 1}, 1},
        {"negative is lower", {{2, 0, 2, {1}}, {1, -7, 1, {2}}}, "", {1, 2}, 1},
        {"no peers: each by itself", {{3, 3, 3, {}}, {1, 1, 1, {}}, {2, 2, 2, {}}}, "", {1, 2, 3}, 3},
        {"its own peer", {{1, 0, 1, {1, 1, 2}}, {2, 1, 2, {}}}, "", {1, 2}, 1},
        {"two with one key", {{1, 0, 9, {2, 3}}, {2, 1, 9, {}}, {3, 2, 3, {}}}, "", {1, 2, 3}, 1},
        {"a peer that was never gathered", {{1, 0, 1, {8, 2}}, {2, 1, 2, {}}}, "", {1, 2}, 1},
        {"a single member", {{1, 4, 4, {}}}, "", {1}, 1},
        {"no state", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "absent 1 ITessarigHardwareState", {}, 0},
        {"no peer interface", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "absent 1 ITessarigPeerDevice", {}, 1},
        {"no iterator", {{1, 0, 1, {2}}, {2, 1, 2, {}}}, "fail 1 GetPeerIterator 5", {}, 1},
        {"no device",
         {{2, 0, 2, {3, 1, 4}}, {1, 1, 1, {4}}, {3, 2, 3, {}}, {4, 3, 4, {}}},
         "fail 1 GetDevice 5",
         {2, 3, 1, 4},
         2},
        {"no place reads as 0", {{2, 3, 2, {1}}, {1, 9, 1, {2}}}, "fail 1 GetInt:subi 5", {1, 2}, 1},
        {"no attributes at all", {{1, 1, 5, {2}}, {2, 0, 2, {1}}}, "fail 1 GetInt:peid 5", {2, 1}, 1},
        {"no count: complete at once", {{1, 0, 1, {}}}, "fail 1 GetInt:nsbd 5", {1}, 1},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        plugged(8); // a plain one
        execute(simulator, row.fault);
        const auto count = static_cast<int64_t>(row.members.size());
        for (const Member& member : row.members)
            simulator.plug(member.id, GroupPlace{16, count, member.order, member.peer, member.peers});
        finishGroups();
        Ids expected = row.listeners;
        expected.insert(expected.begin(), 8);
        EXPECT_EQ(listenedTo(), expected);
        int preparations = 0;
        for (const Member& member : row.members)
            preparations += calls(member.id).count("PrepareGroup");
        EXPECT_EQ(preparations, row.preparations);
        simulator.reset();
        EXPECT_EQ(simulator.ledger.total(), 1);
        EXPECT_EQ(state(), "0 0");
    }
}

TEST_F(GroupTest, EveryStateOfAGroupIsEnteredAndLeft)
{
    struct Step
    {
        int64_t card; ///< That comes, or goes if negative.
        int64_t of;
        const char* state;
    };
    // Gathered and left; worked, and again only once all have come again; gathered during the work; counted by the
    // latest to come, by one never and by the last at once.
    const Step steps[] = {{1, 3, "1 0"}, {-1, 0, "0 0"}, {3, 3, "1 0"},  {1, 3, "2 0"},  {2, 3, "0 1"},  {-2, 0, "0 0"},
                          {2, 3, "1 0"}, {-1, 0, "1 0"}, {-3, 0, "1 0"}, {-2, 0, "0 0"}, {2, 3, "1 0"},  {3, 3, "2 0"},
                          {1, 3, "0 1"}, {4, 3, "1 1"},  {-3, 0, "1 0"}, {5, 2, "0 1"},  {6, -1, "1 1"}, {7, 0, "0 1"}};
    for (const Step& step : steps)
    {
        if (step.card > 0)
            plugMember(step.card, step.of);
        else
            simulator.unplug(-step.card);
        EXPECT_EQ(state(), step.state) << step.card;
    }
    finishGroups();
    EXPECT_EQ(listenedTo(), (Ids{1, 2, 4, 5, 6, 7}));

    plugMember(9, 3);
    const COMPtr<ITessarig> twice(&simulator.find(9)->device);
    helper->deviceArrived(twice);
    EXPECT_EQ(state(), "2 0");
    helper->deviceRemoved(twice);
    EXPECT_EQ(state(), "0 0");
}

TEST_F(GroupTest, ARemovalDuringTheGroupsWorkLeavesNoListener)
{
    faults(1).slow("PrepareGroup", 50ms);
    for (const int64_t id : {1, 2, 3})
        plugMember(id, 3);
    simulator.unplug(2);
    EXPECT_EQ(calls(1).count("PrepareGroup"), 1);
    EXPECT_EQ(listenedTo(), (Ids{1, 3}));
    EXPECT_EQ(helper->listeners.size(), 2U);
}

}
