#include "preferences/PreferenceUpdater.h"

#include <sstream>

#include "tests/PreferenceTest.h"

class PreferenceUpdaterTest : public PreferenceTest
{
protected:
    /// Keys and attributes, each value one character.
    void writeTable(const std::string& table) const
    {
        PreferenceStore written(path);
        std::istringstream keys(table);
        for (std::string key; std::getline(keys, key, ';');)
        {
            std::istringstream words(key);
            words >> key;
            for (std::string word; words >> word;)
                written.set(key, word.substr(0, word.size() - 2), word.substr(word.size() - 1));
        }
        ASSERT_TRUE(written.write());
    }
};

TEST_F(PreferenceUpdaterTest, AnUpdateMovesSixAttributesFromGroupsToTheirCards)
{
    struct Row
    {
        std::string before;
        int result;
        int changed;
        int failed;
        std::string after;
    };
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
          {"group-16 NetOutputAncillaryIPv4=2;-1 a=1;-16 a=1;-17 a=1", 1, 1, 0,
           "group-16[] -1[a=1,NetOutputAncillaryIPv4_0=2] -16[a=1,NetOutputAncillaryIPv4_0=2] -17[a=1]"}})
    {
        SCOPED_TRACE(before);
        writeTable(before);
        const std::string original = contents(path);
        PreferenceUpdater updater(true);
        EXPECT_EQ(updater.update(), result);
        EXPECT_EQ(updater.changedCount, changed);
        EXPECT_EQ(updater.failedCount, failed);
        EXPECT_EQ(tableOf(*updater.store), after);
        EXPECT_EQ(contents(path) == original, result == 0);
        const auto written = std::filesystem::last_write_time(path);
        EXPECT_EQ(updater.update(), failed > 0 ? 2 : 0); // again, on the file
        EXPECT_EQ(std::filesystem::last_write_time(path) == written, failed == 0);
    }
    std::filesystem::remove(path);
    EXPECT_EQ(PreferenceUpdater(true).update(), 2);
}

TEST_F(PreferenceUpdaterTest, WhatGoesBeyond64MiBIsLeftOutWithItsGroupAlone)
{
    struct Row
    {
        int cards;
        char byte;         ///< Of which the value of group 16 has 64 Ki.
        std::string other; ///< The value of group 32, which has one card.
        bool moved;        ///< Whether group 16 is.
        bool otherMoved = true;
    };
    for (const auto& [cards, byte, other, moved, otherMoved] : {Row{1024, 'x', "", true},
                                                                {1024, 'x', "y", true, false},
                                                                {1025, 'x', "y", false},
                                                                {170, '"', "y", true}, // written as &quot;
                                                                {171, '"', "y", false}})
    {
        PreferenceUpdater updater(path);
        PreferenceStore& table = *updater.store;
        table.set("group16", "NetOutputVideoPort", std::string(1 << 16, byte));
        for (int card = 0; card < cards; ++card)
            table.set("17 " + std::to_string(card), "a", std::string());
        table.set("group32", "NetOutputVideoPort", other);
        table.set("32", "a", std::string());
        PreferenceUpdater::GroupMoves groups;
        EXPECT_EQ(updater.migrate(&groups), moved && otherMoved ? 1 : 2);
        ASSERT_EQ(groups.size(), 2U);
        EXPECT_EQ(groups[0].outcome == PreferenceUpdater::GroupMove::BeyondBound, !moved);
        EXPECT_EQ(groups[1].outcome == PreferenceUpdater::GroupMove::BeyondBound, !otherMoved);
        EXPECT_EQ(table.has("17 0", "NetOutputVideoPort_0"), moved);
        EXPECT_EQ(table.has("32", "NetOutputVideoPort_0"), otherMoved);
    }
}

TEST_F(PreferenceUpdaterTest, MovesWithinItsTableAndReloads)
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
    updater.setAttribute("group16", "Old", true);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Old", "New"), 1);
    EXPECT_EQ(tableOf(*updater.store), "group16[] 17[a=long 1,Mode=long 5,New=bool true] 31[a=long 1,New=bool true] "
                                       "18[a=long 1,Mode=long 5,New=bool true]");
    std::string keys;
    updater.forEachKey(
        [&](const std::string& key)
        {
            keys += key + " ";
            updater.removeAttribute(key, "New");
            updater.setAttribute(key + key, "b", true);
            updater.removeKey(key + key);
        });
    EXPECT_EQ(keys, "group16 17 31 18 ");
    EXPECT_TRUE(updater.save() && updater.reload());
    EXPECT_EQ(tableOf(*updater.store), "17[a=1,Mode=5] 31[a=1] 18[a=1,Mode=5]"); // the group had nothing left
    std::filesystem::remove(path);
    EXPECT_FALSE(updater.reload());
    EXPECT_EQ(tableOf(*updater.store), "");
}

TEST_F(PreferenceUpdaterTest, TellsWhatAnUpdateWouldDo)
{
    writeTable("group16 NetOutputVideoPort=1 Mode=2;group32 NetOutputAudioPort=3;17 a=4");
    const std::string text = contents(path);
    PreferenceUpdater updater(path);
    ASSERT_TRUE(updater.store->read());
    PreferenceUpdater::GroupMoves groups;
    EXPECT_EQ(updater.migrate(&groups), 2);
    EXPECT_EQ(tableOf(*updater.store), "group16[Mode=2] group32[NetOutputAudioPort=3] 17[a=4,NetOutputVideoPort_0=1]");
    EXPECT_EQ(contents(path), text);
    EXPECT_EQ(updater.migrate(), 2);
    EXPECT_EQ(updater.failedCount, 1) << "counted anew";
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(groups[0].group, "group16");
    EXPECT_EQ(groups[0].outcome, PreferenceUpdater::GroupMove::Done);
    EXPECT_EQ(groups[0].names, std::vector<std::string>{"NetOutputVideoPort"});
    EXPECT_EQ(groups[0].cards, 1U);
    EXPECT_EQ(groups[1].outcome, PreferenceUpdater::GroupMove::NoCards);
}
