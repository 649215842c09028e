#include "preferences/PreferenceUpdater.h"
#include "tests/PreferenceTest.h"

namespace
{

class PreferenceStoreTest : public PreferenceTest
{
protected:
    PreferenceStore store{true};
};

TEST_F(PreferenceStoreTest, KeepsTheOrderOfTheFirstSetAndTheLastValue)
{
    store.set("17", "b", 9000L);
    store.set("group16", "a", std::string("text"));
    store.set("17", "a", 0.5);
    store.set("17", "b", true);
    store.set("", "", std::string("x"));
    EXPECT_EQ(tableOf(store), "17[b=bool true,a=double 0.500000] group16[a=text] [=x]");

    PreferenceValue value = std::string("mine");
    EXPECT_FALSE(store.get("17", "c", value));
    EXPECT_FALSE(store.get("17 ", "b", value));
    EXPECT_EQ(value, PreferenceValue(std::string("mine")));
    EXPECT_TRUE(store.get("17", "a", value));
    EXPECT_EQ(value, PreferenceValue(0.5));
    EXPECT_TRUE(store.has("", ""));
    EXPECT_FALSE(store.has("Group16", "a"));

    store.forEachAttribute("17", [](const std::string&, PreferenceValue& copy) { copy = 7L; });
    store.remove("17", "b");
    store.remove("17", "b");
    store.remove("group16", "a");
    store.removeKey("");
    store.removeKey("");
    EXPECT_EQ(tableOf(store), "17[a=double 0.500000] group16[]");
    EXPECT_EQ(store.keys(), (std::list<std::string>{"17", "group16"}));
    store.set("group16", "b", 1L);
    store.set("17", "b", 2L);
    EXPECT_EQ(tableOf(store), "17[a=double 0.500000,b=long 2] group16[b=long 1]");

    store.forEachAttribute("none", nullptr);
    EXPECT_THROW(store.forEachAttribute("17", nullptr), std::bad_function_call);
    store.clear();
    EXPECT_EQ(tableOf(store), "");
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
        const char* before; ///< Under the root; "NetOutput" is written N.
        int result;
        int changed;
        int failed;
        const char* after;
    };
    const Row rows[] = {
        {"nothing to move", "<group id=\"16\"><attribute name=\"Mode\" value=\"on\"/></group>", 0, 0, 0,
         "group16[Mode=on]"},
        {"to each card, behind what it has",
         "<card id=\"18\"><attribute name=\"a\" value=\"1\"/></card>"
         "<group id=\"16\"><attribute name=\"NVideoPort\" value=\"9\"/><attribute name=\"NVideoIPv4\" "
         "value=\"8\"/></group>"
         "<card id=\"17\"><attribute name=\"NVideoPort_0\" value=\"5\"/></card>"
         "<card id=\"32\"><attribute name=\"NVideoPort\" value=\"6\"/></card>",
         1, 2, 0, "18[a=1,NVideoIPv4_0=8,NVideoPort_0=9] group16[] 17[NVideoPort_0=9,NVideoIPv4_0=8] 32[NVideoPort=6]"},
        {"a group without cards keeps its own",
         "<group id=\"32\"><attribute name=\"NAudioPort\" value=\"1\"/></group>"
         "<group id=\"16\"><attribute name=\"NAudioPort\" value=\"2\"/></group>"
         "<card id=\"16\"><attribute name=\"a\" value=\"1\"/></card>"
         "<group id=\"17\"><attribute name=\"NAudioIPv4\" value=\"3\"/></group>",
         2, 1, 2, "group32[NAudioPort=1] group16[] 16[a=1,NAudioPort_0=2] group17[NAudioIPv4=3]"},
        {"odd ids",
         "<group id=\"\"><attribute name=\"NAncillaryPort\" value=\"1\"/></group>"
         "<card id=\"abc\"><attribute name=\"a\" value=\"1\"/></card>"
         "<group id=\"-16\"><attribute name=\"NAncillaryIPv4\" value=\"2\"/></group>"
         "<card id=\"-1\"><attribute name=\"a\" value=\"1\"/></card>",
         1, 2, 0, "group[] abc[a=1,NAncillaryPort_0=1] group-16[] -1[a=1,NAncillaryIPv4_0=2]"},
    };
    const auto spelled = [](std::string text)
    {
        for (const char* stem : {"Video", "Audio", "Ancillary"})
            for (size_t at = 0; (at = text.find(std::string("N") + stem, at)) != std::string::npos; at += 9)
                text.insert(at + 1, "etOutput");
        return text;
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        put(document(spelled(row.before)));
        const std::string original = contents(path);
        PreferenceUpdater updater(true);
        EXPECT_EQ(updater.update(), row.result);
        EXPECT_EQ(updater.changedCount, row.changed);
        EXPECT_EQ(updater.failedCount, row.failed);
        EXPECT_EQ(tableOf(*updater.store), spelled(row.after));
        EXPECT_EQ(contents(path) == original, row.result == 0);
        const auto written = std::filesystem::last_write_time(path);
        const std::string first = contents(path);
        EXPECT_EQ(updater.update(), row.failed > 0 ? 2 : 0); // again, on the file
        EXPECT_EQ(contents(path) == first, row.failed == 0); // a group that lost all is not read again
        EXPECT_EQ(std::filesystem::last_write_time(path) == written, row.failed == 0);
    }
}

TEST_F(PreferenceStoreTest, TheOtherOperationsOfAnUpdater)
{
    PreferenceUpdater updater(true);
    EXPECT_EQ(updater.update(), 2); // no file
    updater.setAttribute("group16", "Mode", 5L);
    EXPECT_EQ(updater.moveAttributeToCards("group16", "Mode"), 2);
    updater.setAttribute("10", "a", 1L);
    for (const char* card : {"17", "31", "18"})
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
    for (const int result : {0, 1, 7})
        updater.tally(result);
    EXPECT_EQ(updater.summary(), 1);
    updater.tally(2);
    EXPECT_EQ(updater.summary(), 2);
}

}
