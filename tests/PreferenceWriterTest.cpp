#include <cerrno>

#include "tests/PreferenceTest.h"

using PreferenceWriterTest = PreferenceTest;

TEST_F(PreferenceWriterTest, WritesTheseBytesForEveryUserWhateverTheUmask)
{
    EXPECT_TRUE(store.reset());
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"true\" ?>\n";
    EXPECT_EQ(contents(path), declaration + "<QuillstonePreferences />\n");
    chmod(path.c_str(), 0600);
    const mode_t former = umask(0077);
    store.set("group16", "Mode", std::string("on"));
    store.set("17", "Port", 9000L);
    store.set("17", "Enabled", true);
    store.set("17", "Gain", 0.5);
    store.set("17", "Label", std::string("a<b \"c\""));
    store.set("18", "gone", true);
    store.remove("18", "gone");
    ASSERT_TRUE(store.write());
    umask(former);
    EXPECT_EQ(contents(path), declaration + R"(<QuillstonePreferences>
    <group id="16">
        <attribute name="Mode" value="on" />
    </group>
    <card id="17">
        <attribute name="Port" value="9000" />
        <attribute name="Enabled" value="true" />
        <attribute name="Gain" value="0.500000" />
        <attribute name="Label" value='a&lt;b &quot;c&quot;' />
    </card>
    <card id="18" />
</QuillstonePreferences>
)");
    EXPECT_EQ(modeOf(path), 0666U);
}

TEST_F(PreferenceWriterTest, AnyBytesSurviveWritingAndReading)
{
    std::string every;
    for (int byte = 0; byte < 256; ++byte)
        every += static_cast<char>(byte);
    for (const std::string& text : {every, every + every, std::string("&#x;&#x41;&amp;<'\">"), std::string("\xE4\xF0")})
        for (const char* group : {"", "group"})
            store.set(group + text, text, text);
    ASSERT_TRUE(store.write());
    const std::string first = contents(path);
    PreferenceStore again(true);
    ASSERT_TRUE(again.read());
    EXPECT_TRUE(again.table == store.table) << first;
    ASSERT_TRUE(again.write());
    EXPECT_EQ(contents(path), first);
}

TEST_F(PreferenceWriterTest, MakesTheFoldersOrWritesInTheWorkingFolder)
{
    std::filesystem::remove_all(home / ".config");
    EXPECT_TRUE(store.write() && store.read());
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(home.folder);
    const std::string bare = "bare.xml";
    EXPECT_TRUE(PreferenceStore(bare).write() && PreferenceStore(bare).read());
    std::filesystem::current_path(former);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home.folder), {}), 2);
}

TEST_F(PreferenceWriterTest, AFileThatCantBeWrittenIsToldByErrnoAndLeavesNothingBeside)
{
    store.set("1", "a", std::string("new"));
    std::filesystem::create_directory(path);
    EXPECT_FALSE(store.write());
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home / ".config"), {}), 1);

    unsetenv("HOME");
    PreferenceStore homeless(true);
    EXPECT_FALSE(homeless.read());
    EXPECT_FALSE(homeless.write());
}
