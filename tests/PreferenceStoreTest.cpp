#include <algorithm>

#include "preferences/PreferenceUpdater.h"
#include "tests/PreferenceTest.h"

class PreferenceStoreTest : public PreferenceTest
{
};

TEST_F(PreferenceStoreTest, KeepsTheOrderOfTheFirstSetAndTheLastValue)
{
    PreferenceStore store(true);
    store.set("17", "b", 9000L);
    store.set("group16", "a", std::string("text"));
    store.set("17", "a", 0.5);
    store.set("17", "b", true);
    store.set("", "", std::string("x"));
    EXPECT_EQ(tableOf(store), "17[b=bool true,a=double 0.5] group16[a=text] [=x]");

    PreferenceValue value = 1L;
    EXPECT_FALSE(store.get("17", "c", value) || store.get("17 ", "b", value) || store.has("Group16", "a"));
    EXPECT_EQ(value, PreferenceValue(1L));
    EXPECT_TRUE(store.has("", "") && store.get("17", "a", value));
    EXPECT_EQ(value, PreferenceValue(0.5));
    store.forEachAttribute("17", [](const std::string&, PreferenceValue& copy) { copy = 7L; });
    for (int twice = 0; twice < 2; ++twice)
    {
        store.remove("17", "b");
        store.remove("group16", "a");
        store.removeKey("");
    }
    EXPECT_EQ(tableOf(store), "17[a=double 0.5] group16[]");
    store.set("group16", "b", 1L);
    store.set("17", "b", 2L);
    EXPECT_EQ(tableOf(store), "17[a=double 0.5,b=long 2] group16[b=long 1]");
    store.forEachAttribute("none", nullptr);
    EXPECT_THROW(store.forEachAttribute("17", nullptr), std::bad_function_call);

    store.clear();
    for (const long number : {1L, 2L})
        for (int name = 0; name < 100; ++name) // so many that they are no longer found by a walk
            store.set("17", std::to_string(name), number);
    for (int name = 0; name < 99; ++name)
        store.remove("17", std::to_string(name));
    store.set("17", "0", 3L);
    EXPECT_EQ(tableOf(store), "17[99=long 2,0=long 3]");
}

TEST_F(PreferenceStoreTest, AnUpdateMovesSixAttributesFromGroupsToTheirCards)
{
    // Keys and attributes before, each value one character; the result, the counts of changes and failures, the table.
    using Row = std::tuple<std::string, int, int, int, std::string>;
    for (const auto& [before, result, changed, failed, after] :
         {Row{"group16 Mode=1", 0, 0, 0, "group16[Mode=1]"},
          {"18 a=1;group16 NetOutputVideoPort=9 NetOutputVideoIPv4=8;17 NetOutputVideoPort_0=5;32 NetOutputVideoPort=6",
           1, 2, 0,
           "18[a=1,NetOutputVideoIPv4_0=8,NetOutputVideoPort_0=9] group16[] "
           "17[NetOutputVideoPort_0=9,NetOutputVideoIPv4_0=8] 32[NetOutputVideoPort=6]"},
          {"group32 NetOutputAudioPort=1;group16 NetOutputAudioPort=2;16 a=1;group17 NetOutputAudioIPv4=3", 2, 1, 2,
           "group32[NetOutputAudioPort=1] group16[] 16[a=1,NetOutputAudioPort_0=2] group17[NetOutputAudioIPv4=3]"},
          // Sixteen consecutive ids share a group, and odd ones have theirs, too.
          {"group16 NetOutputAudioIPv4=1;15 a=1;16 a=1;31 a=1;32 a=1;4294967312 a=1;Group16 a=1;xgroup1 a=1", 1, 1, 0,
           "group16[] 15[a=1] 16[a=1,NetOutputAudioIPv4_0=1] 31[a=1,NetOutputAudioIPv4_0=1] 32[a=1] "
           "4294967312[a=1,NetOutputAudioIPv4_0=1] Group16[a=1] groupp1[a=1]"},
          {"group NetOutputAncillaryPort=1;abc a=1;99999999999999999999 a=1;12abc a=1", 1, 1, 0,
           "group[] abc[a=1,NetOutputAncillaryPort_0=1] 99999999999999999999[a=1,NetOutputAncillaryPort_0=1] "
           "12abc[a=1]"},
          {"group-16 NetOutputAncillaryIPv4=2;-1 a=1;-16 a=1;-17 a=1;group-2147483648 NetOutputVideoIPv4=3;2147483648 "
           "a=1",
           1, 2, 0,
           "group-16[] -1[a=1,NetOutputAncillaryIPv4_0=2] -16[a=1,NetOutputAncillaryIPv4_0=2] -17[a=1] "
           "group-2147483648[] 2147483648[a=1,NetOutputVideoIPv4_0=3]"}})
    {
        SCOPED_TRACE(before);
        PreferenceStore store(true);
        std::istringstream keys(before);
        for (std::string key; std::getline(keys, key, ';');)
        {
            std::istringstream words(key);
            words >> key;
            for (std::string word; words >> word;)
                store.set(key, word.substr(0, word.size() - 2), word.substr(word.size() - 1));
        }
        ASSERT_TRUE(store.write());
        const std::string original = contents(path);
        PreferenceUpdater updater(true);
        EXPECT_EQ(updater.update(), result);
        EXPECT_EQ(std::pair(updater.changedCount, updater.failedCount), std::pair(changed, failed));
        EXPECT_EQ(tableOf(*updater.store), after);
        EXPECT_EQ(contents(path) == original, result == 0);
        const auto written = std::filesystem::last_write_time(path);
        EXPECT_EQ(updater.update(), failed > 0 ? 2 : 0); // again, on the file
        EXPECT_EQ(std::filesystem::last_write_time(path) == written, failed == 0);
    }
    std::filesystem::remove(path);
    EXPECT_EQ(PreferenceUpdater(true).update(), 2);

    // So many cards of one group that a small file would become one of 64 MiB, and another group behind it.
    for (const auto& [cards, byte, other, moved] : {std::tuple(1024, 'x', "", 2),
                                                    {1024, 'x', "y", 1},
                                                    {1025, 'x', "y", 1},
                                                    {170, '"', "y", 2},
                                                    {171, '"', "y", 1}})
    {
        PreferenceStore store(true);
        store.set("group16", "NetOutputVideoPort", std::string(1 << 16, byte));
        for (int card = 0; card < cards; ++card)
            store.set("17 " + std::to_string(card), "a", std::string());
        store.set("group32", "NetOutputVideoPort", std::string(other));
        store.set("32", "a", std::string());
        ASSERT_TRUE(store.write());
        PreferenceUpdater updater(true);
        EXPECT_EQ(updater.update(), moved == 2 ? 1 : 2);
        EXPECT_EQ(updater.changedCount, moved);
        EXPECT_EQ(updater.store->has("32", "NetOutputVideoPort_0"), cards != 1024 || moved == 2);
        PreferenceUpdater::GroupMoves groups;
        ASSERT_TRUE(store.write());
        PreferenceUpdater ahead(path);
        EXPECT_TRUE(ahead.store->read() && ahead.migrate(&groups) != 0);
        using GroupMove = PreferenceUpdater::GroupMove;
        EXPECT_EQ(std::count_if(groups.begin(), groups.end(),
                                [](const GroupMove& group) { return group.outcome == GroupMove::BeyondBound; }),
                  2 - moved);
    }
}

TEST_F(PreferenceStoreTest, AnUpdaterMovesWithinItsTableAndReloads)
{
    PreferenceUpdater updater(true);
    updater.setAttribute("group16", "Mode", 5L);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 2);
    for (const char* card : {"10", "17", "31", "18"})
        updater.setAttribute(card, "a", 1L);
    EXPECT_EQ(updater.cardsOfGroup("group16"), (PreferenceUpdater::Cards{"17", "18", "31"}));
    EXPECT_EQ(updater.moveAttributeToCards("17", "a", "b"), 2);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 1);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 0);
    PreferenceValue value;
    EXPECT_TRUE(updater.getAttribute("31", "Mode", value) && value == PreferenceValue(5L));
    updater.removeAttribute("31", "Mode");
    updater.removeKey("10");
    EXPECT_TRUE(updater.save() && updater.reload());
    EXPECT_EQ(tableOf(*updater.store), "17[a=1,Mode=5] 31[a=1] 18[a=1,Mode=5]"); // the group had nothing left
    std::filesystem::remove(path);
    EXPECT_FALSE(updater.reload());
    EXPECT_EQ(tableOf(*updater.store), "");
}

TEST_F(PreferenceStoreTest, AnUpdaterTellsWhatAnUpdateWouldDo)
{
    const std::string entry = "<group id='16'><attribute name='NetOutputVideoPort' value='1'/>"
                              "<attribute name='Mode' value='2'/></group>";
    const std::string text =
        document(entry + "<group id='32'><attribute name='NetOutputAudioPort' value='3'/></group>" +
                 "<card id='17'><attribute name='a' value='4'/></card>");
    put(text);
    PreferenceUpdater updater(path);
    ASSERT_TRUE(updater.store->read());
    PreferenceUpdater::GroupMoves groups;
    EXPECT_EQ(updater.migrate(&groups), 2);
    EXPECT_EQ(tableOf(*updater.store), "group16[Mode=2] group32[NetOutputAudioPort=3] 17[a=4,NetOutputVideoPort_0=1]");
    EXPECT_EQ(contents(path), text);
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].group, "group16");
    EXPECT_EQ(groups[0].outcome, PreferenceUpdater::GroupMove::Done);
    EXPECT_EQ(groups[0].names, std::vector<std::string>{"NetOutputVideoPort"});
    EXPECT_EQ(groups[0].cards, 1U);
    EXPECT_EQ(groups[1].outcome, PreferenceUpdater::GroupMove::NoCards);
}
