#include "preferences/PreferenceUpdater.h"
#include "tests/PreferenceTest.h"

namespace
{

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

    PreferenceValue value = std::string("mine");
    EXPECT_FALSE(store.get("17", "c", value));
    EXPECT_FALSE(store.get("17 ", "b", value));
    EXPECT_EQ(value, PreferenceValue(std::string("mine")));
    EXPECT_TRUE(store.get("17", "a", value));
    EXPECT_EQ(value, PreferenceValue(0.5));
    EXPECT_TRUE(store.has("", ""));
    EXPECT_FALSE(store.has("Group16", "a"));

    store.forEachAttribute("17", [](const std::string&, PreferenceValue& copy) { copy = 7L; });
    for (int twice = 0; twice < 2; ++twice)
    {
        store.remove("17", "b");
        store.remove("group16", "a");
        store.removeKey("");
    }
    EXPECT_EQ(tableOf(store), "17[a=double 0.5] group16[]");
    EXPECT_EQ(store.keys(), (std::list<std::string>{"17", "group16"}));
    store.set("group16", "b", 1L);
    store.set("17", "b", 2L);
    EXPECT_EQ(tableOf(store), "17[a=double 0.5,b=long 2] group16[b=long 1]");

    store.forEachAttribute("none", nullptr);
    EXPECT_THROW(store.forEachAttribute("17", nullptr), std::bad_function_call);
    store.clear();
    for (const long value : {1L, 2L})
        for (int name = 0; name < 100; ++name) // so many that they are no longer found by a walk
            store.set("17", std::to_string(name), value);
    for (int name = 0; name < 99; ++name)
        store.remove("17", std::to_string(name));
    store.set("17", "0", 3L);
    EXPECT_EQ(tableOf(store), "17[99=long 2,0=long 3]");
}

TEST_F(PreferenceStoreTest, SixteenConsecutiveIdsShareAGroup)
{
    const std::pair<const char*, const char*> groups[] = {{"33", "group32"},
                                                          {"16", "group16"},
                                                          {"15", "group0"},
                                                          {"0", "group0"},
                                                          {"group48", "group48"},
                                                          {"group17", "group17"},
                                                          {"-1", "group-16"},
                                                          {"12abc", "group0"},
                                                          {" +18", "group16"},
                                                          {"abc", "group"},
                                                          {"", "group"},
                                                          {"99999999999999999999", "group"},
                                                          {"4294967312", "group16"},
                                                          {"2147483648", "group-2147483648"}};
    for (const auto& [key, group] : groups)
        EXPECT_EQ(PreferenceIO::groupKey(key), group) << key;
    for (const char* key : {"group", "group1", "xgroup1"})
        EXPECT_TRUE(PreferenceIO::isGroup(key)) << key;
    for (const char* key : {"", "grou", "Group1", "GROUP", "17"})
        EXPECT_FALSE(PreferenceIO::isGroup(key)) << key;
}

TEST_F(PreferenceStoreTest, AnUpdateMovesSixAttributesFromGroupsToTheirCards)
{
    struct Row
    {
        const char* what;
        const char* before; ///< Keys and attributes, each with one character of its value: "key name=v name=v; …"
        int result;
        int changed;
        int failed;
        const char* after;
    };
    const Row rows[] = {
        {"nothing to move", "group16 Mode=1", 0, 0, 0, "group16[Mode=1]"},
        {"to each card, behind what it has",
         "18 a=1;group16 NetOutputVideoPort=9 NetOutputVideoIPv4=8;17 NetOutputVideoPort_0=5;32 NetOutputVideoPort=6",
         1, 2, 0,
         "18[a=1,NetOutputVideoIPv4_0=8,NetOutputVideoPort_0=9] group16[] "
         "17[NetOutputVideoPort_0=9,NetOutputVideoIPv4_0=8] 32[NetOutputVideoPort=6]"},
        {"a group without cards keeps its own",
         "group32 NetOutputAudioPort=1;group16 NetOutputAudioPort=2;16 a=1;group17 NetOutputAudioIPv4=3", 2, 1, 2,
         "group32[NetOutputAudioPort=1] group16[] 16[a=1,NetOutputAudioPort_0=2] group17[NetOutputAudioIPv4=3]"},
        {"odd ids", "group NetOutputAncillaryPort=1;abc a=1;group-16 NetOutputAncillaryIPv4=2;-1 a=1", 1, 2, 0,
         "group[] abc[a=1,NetOutputAncillaryPort_0=1] group-16[] -1[a=1,NetOutputAncillaryIPv4_0=2]"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        PreferenceStore before(true);
        std::istringstream keys(row.before);
        for (std::string key; std::getline(keys, key, ';');)
        {
            std::istringstream words(key);
            words >> key;
            for (std::string word; words >> word;)
                before.set(key, word.substr(0, word.size() - 2), word.substr(word.size() - 1));
        }
        ASSERT_TRUE(before.write());
        const std::string original = contents(path);
        PreferenceUpdater updater(true);
        EXPECT_EQ(updater.update(), row.result);
        EXPECT_EQ(updater.changedCount, row.changed);
        EXPECT_EQ(updater.failedCount, row.failed);
        EXPECT_EQ(tableOf(*updater.store), row.after);
        EXPECT_EQ(contents(path) == original, row.result == 0);
        const auto written = std::filesystem::last_write_time(path);
        EXPECT_EQ(updater.update(), row.failed > 0 ? 2 : 0); // again, on the file
        EXPECT_EQ(std::filesystem::last_write_time(path) == written, row.failed == 0);
    }
}

TEST_F(PreferenceStoreTest, TheOtherOperationsOfAnUpdater)
{
    PreferenceUpdater updater(true);
    EXPECT_EQ(updater.update(), 2); // no file
    updater.setAttribute("group16", "Mode", 5L);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 2);
    for (const char* card : {"10", "17", "31", "18"})
        updater.setAttribute(card, "a", 1L);
    EXPECT_EQ(updater.cardsOfGroup("group16"), (PreferenceUpdater::Cards{"17", "18", "31"}));
    EXPECT_TRUE(updater.cardsOfGroup("17").empty());
    EXPECT_EQ(updater.moveAttributeToCards("17", "a", "b"), 2);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 1);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 0);
    PreferenceValue value;
    EXPECT_TRUE(updater.getAttribute("31", "Mode", value));
    EXPECT_EQ(value, PreferenceValue(5L));
    updater.removeAttribute("31", "Mode");
    updater.removeKey("10");
    EXPECT_TRUE(updater.save());
    EXPECT_TRUE(updater.reload());
    EXPECT_EQ(tableOf(*updater.store), "17[a=1,Mode=5] 31[a=1] 18[a=1,Mode=5]"); // the group had nothing left
    for (const auto& [result, summary] : {std::pair(0, 0), {7, 0}, {1, 1}, {2, 2}, {1, 2}})
    {
        updater.tally(result);
        EXPECT_EQ(updater.summary(), summary);
    }
}

}
