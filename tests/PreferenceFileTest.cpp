#include <random>

#include "tests/PreferenceTest.h"

class PreferenceFileTest : public PreferenceTest
{
protected:
    /// The table that the text gives, or "refused"; then the file and the table are as they were.
    std::string readBack(const std::string& text)
    {
        put(text);
        PreferenceStore store(true);
        store.set("old", "a", 1L);
        if (store.read())
            return tableOf(store);
        EXPECT_EQ(tableOf(store), "old[a=long 1]");
        EXPECT_EQ(contents(path), text);
        return "refused";
    }

    static std::string repeated(const std::string& text, int times)
    {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += text;
        return all;
    }
};

TEST_F(PreferenceFileTest, WritesTheseBytes)
{
    PreferenceStore store(true);
    EXPECT_TRUE(store.reset());
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"true\" ?>\n";
    EXPECT_EQ(contents(path), declaration + "<QuillstonePreferences />\n");
    chmod(path.c_str(), 0600);
    umask(0077);
    store.set("group16", "Mode", std::string("on"));
    store.set("17", "Port", 9000L);
    store.set("17", "Enabled", true);
    store.set("17", "Gain", 0.5);
    store.set("17", "Label", std::string("a<b \"c\""));
    store.set("18", "gone", true);
    store.remove("18", "gone");
    ASSERT_TRUE(store.write());
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
    EXPECT_TRUE(store.read());
    EXPECT_EQ(tableOf(store), "group16[Mode=on] 17[Port=9000,Enabled=true,Gain=0.500000,Label=a<b \"c\"]");

    std::filesystem::remove_all(home / ".config");
    EXPECT_TRUE(store.write()); // makes the folders
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_FALSE(store.write());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home / ".config"), {}), 1); // nothing beside the folder
}

TEST_F(PreferenceFileTest, AnyBytesSurviveWritingAndReading)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto bytes = [&]
    {
        std::string text(random() % 6, ' ');
        for (char& byte : text)
            byte = random() % 3 == 0 ? "&#x;<'\""[random() % 7] : static_cast<char>(random());
        return text;
    };
    for (int round = 0; round < 100; ++round)
    {
        PreferenceStore store(true);
        for (size_t i = random() % 20; i > 0; --i)
            store.set((random() % 2 ? "group" : "") + bytes(), bytes(), bytes());
        ASSERT_TRUE(store.write());
        const std::string first = contents(path);
        PreferenceStore again(true);
        ASSERT_TRUE(again.read());
        ASSERT_TRUE(again.table == store.table) << first;
        ASSERT_TRUE(again.write());
        ASSERT_EQ(contents(path), first);
    }
}

TEST_F(PreferenceFileTest, ReadsWhatItToleratesAndRefusesTheRest)
{
    const auto expectRead = [&](const std::string& text, const std::string& table)
    { EXPECT_EQ(readBack(text), table) << text.substr(0, 200); };
    for (const char* text : {"<?xml version='1.0'?>", "", "text", "<quillstonePreferences/>", "<QuillstonePreferences",
                             "<other/><QuillstonePreferences/>", "<QuillstonePreferences/><unclosed",
                             "<QuillstonePreferences><card id='1'></QuillstonePreferences></card>",
                             "<QuillstonePreferences><card id='1' id='1'/></QuillstonePreferences>",
                             "\xEF\xBB\xBF<QuillstonePreferences a=\"\xF0"})
        expectRead(text, "refused");
    const auto valued = [](const char* value)
    { return document("<card id='1'><attribute name='a' value='" + std::string(value) + "'/></card>"); };
    for (size_t length = 0; length < valued("&#x41;").size(); ++length)
        expectRead(valued("&#x41;").substr(0, length), "refused");
    expectRead(std::string(1'000'000, '\0'), "refused");

    const std::string deep = repeated("<a>", 100'000);
    // What hides elements, so that one who counts brackets misses those behind it.
    for (const char* before : {"", "<!-- \" -->", "<!x '>", "<![CDATA[<!--]]>", "<?xml a='>", "<b c=\"<!--\"/>",
                               "<b c='\">'/>", "<b c=\"&#x\" d='<!-- x41;\"/>", "&#<!-- #65;"})
        expectRead("<QuillstonePreferences>" + std::string(before) + deep, "refused");
    expectRead("<?xml?><QuillstonePreferences><b c=\"\xE4\">\"/>" + deep, "refused");
    for (const std::string& inner : Lines{"", "<!--" + deep + "-->", "<![CDATA[" + deep + "]]>",
                                          "<b c='" + deep + "'/>", "<b " + repeated("c", 10'000'000) + "='1'/>"})
        expectRead(document(inner), "");
    expectRead(document("<!--" + repeated("<a>", 1'000'000)), "refused");
    expectRead(document(repeated("<a>", 63) + "x" + repeated("</a>", 63)), "");
    expectRead(document(repeated("<a>", 64) + "x" + repeated("</a>", 64)), "refused");
    for (const int count : {64, 65, 200'000})
    {
        std::string attributes;
        for (int i = 0; i < count; ++i)
            attributes += " a" + std::to_string(i) + "='1'";
        expectRead(document("<b" + attributes + "/>"), count == 64 ? "" : "refused");
    }

    const std::string a = "<attribute name='a' value='1'/>";
    expectRead(document("<card id='1'>" + a + "</card>") + "junk \xE4", "1[a=1]");
    expectRead(document("<card>" + a + "</card><thing id='2'>" + a + "</thing><card id='3'/>"), "2[a=1]");
    expectRead(document("<group id='16'>" + a + "</group><card id='group16'><attribute name='b' value='2'/></card>"),
               "group16[a=1,b=2]");
    expectRead(document("<card id=''>" + a + "</card><group id=''>" + a + "</group>"), "[a=1] group[a=1]");
    expectRead(document("<card id='1'><x/>text<attribute value='1'/><attribute name='b'/><attribute name=c value=d/>"
                        "<attribute name='' value=''/><attribute name='c' value='e'/></card>"),
               "1[c=e,=]");
    expectRead(valued("&lt;&#65;&#x142;\r\nb\rc"), "1[a=<AB\nb\nc]");
    expectRead("\xEF\xBB\xBF" + valued("&#xE4;"), "1[a=\xC3\xA4]");
    expectRead("<?xml encoding='utf8'?>" + valued("&#xE4;"), "1[a=\xC3\xA4]");
    expectRead(valued("x&#0;y"), "1[a=x" + std::string(1, '\0') + "y]");

    PreferenceStore store(true);
    for (const char* inPlace : {"rm $0", "mkfifo $0", "rm $0 && mkdir $0"})
    {
        EXPECT_EQ(Child({"/bin/sh", "-c", inPlace, path}, home / "errors").wait(), 0);
        EXPECT_FALSE(store.read()) << inPlace;
    }
    unsetenv("HOME");
    PreferenceStore homeless(true);
    EXPECT_FALSE(homeless.read());
    EXPECT_FALSE(homeless.write());
}
