#include <random>

#include "tests/PreferenceTest.h"

namespace
{

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
    EXPECT_EQ(modeOf(path), "666");
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
    const auto below = [&](unsigned limit) { return static_cast<size_t>(random() % limit); };
    const auto bytes = [&]
    {
        std::string text(below(6), ' ');
        for (char& byte : text)
            byte = below(3) == 0 ? "&#x;<'\""[below(7)] : static_cast<char>(random());
        return text;
    };
    for (int round = 0; round < 100; ++round)
    {
        PreferenceStore store(true);
        for (size_t i = below(20); i > 0; --i)
            store.set((below(2) ? "group" : "") + bytes(), bytes(), bytes());
        ASSERT_TRUE(store.write());
        const std::string first = contents(path);
        PreferenceStore again(true);
        ASSERT_TRUE(again.read());
        ASSERT_TRUE(again.table == store.table) << first;
        ASSERT_TRUE(again.write());
        ASSERT_EQ(contents(path), first);
    }
}

TEST_F(PreferenceFileTest, ReadsWhatItTolerates)
{
    const std::string a = "<attribute name=\"a\" value=\"1\"/>";
    const std::pair<std::string, std::string> rows[] = {
        {document(""), ""},
        {"<?xml version=\"1.0\"?>", "refused"},
        {"", "refused"},
        {"text", "refused"},
        {"<quillstonePreferences/>", "refused"},
        {"<other/><QuillstonePreferences/>", "refused"},
        {document("<card id=\"1\">") + "</card>", "refused"},
        {document("") + "<unclosed", "refused"},
        {document("<card id=\"1\" id=\"1\"/>"), "refused"},
        {document("<card id=\"1\">" + a + "</card>") + "junk \xE4", "1[a=1]"},
        {document("<card>" + a + "</card><thing id=\"2\">" + a + "</thing><card id=\"3\"/>"), "2[a=1]"},
        {document("<group id=\"16\">" + a + "</group><card id=\"group16\"><attribute name=\"b\" value=\"2\"/></card>"),
         "group16[a=1,b=2]"},
        {document("<card id=\"\">" + a + "</card><group id=\"\">" + a + "</group>"), "[a=1] group[a=1]"},
        {document("<card id='1'><x/>text<attribute value=\"1\"/><attribute name=\"b\"/><attribute name=c value=d/>"
                  "<attribute name=\"\" value=\"\"/><attribute name=\"c\" value=\"e\"/></card>"),
         "1[c=e,=]"},
        {document("<card id=\"1\"><attribute name=\"a\" value=\"&lt;&#65;&#x142;\r\nb\rc\"/></card>"),
         "1[a=<AB\nb\nc]"},
        {"\xEF\xBB\xBF" + document("<card id=\"1\"><attribute name=\"a\" value=\"&#xE4;\"/></card>"), "1[a=\xC3\xA4]"},
        {"<?xml encoding=\"utf8\"?>" + document("<card id=\"1\"><attribute name=\"a\" value=\"&#xE4;\"/></card>"),
         "1[a=\xC3\xA4]"},
        {document("<card id=\"1\"><attribute name=\"a\" value=\"x&#0;y\"/></card>"),
         "1[a=x" + std::string(1, '\0') + "y]"},
    };
    for (const auto& [text, table] : rows)
        EXPECT_EQ(readBack(text), table) << text;
}

TEST_F(PreferenceFileTest, RefusesOrReadsWhatIsHostile)
{
    const auto repeated = [](const std::string& text, int times)
    {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += text;
        return all;
    };
    const auto nested = [&](int levels) { return document(repeated("<a>", levels) + "x" + repeated("</a>", levels)); };
    std::string attributes;
    for (int i = 0; i < 200'000; ++i)
        attributes += " a" + std::to_string(i) + "=\"1\"";
    const std::string deep = repeated("<a>", 100'000);
    const std::pair<std::string, std::string> rows[] = {
        {nested(63), ""},
        {nested(64), "refused"},
        {document(deep), "refused"},
        {"<?xml?><QuillstonePreferences><b c=\"\xE4\">\"/>" + deep, "refused"},
        {document("<!--" + deep + "-->"), ""},
        {document("<![CDATA[" + deep + "]]>"), ""},
        {document("<b c=\"" + deep + "\"/>"), ""},
        {document("<!--" + repeated("<a>", 1'000'000)), "refused"},
        {document("<b " + repeated("c", 10'000'000) + "=\"1\"/>"), ""},
        {document("<b" + attributes + "/>"), "refused"},
        {"\xEF\xBB\xBF<QuillstonePreferences a=\"\xF0", "refused"},
        {std::string(1'000'000, '\0'), "refused"}};
    for (const auto& [text, table] : rows)
        EXPECT_EQ(readBack(text), table) << text.substr(0, 100);
    // What hides elements from one who only counts brackets.
    for (const char* before : {"<!-- \" -->", "<!x '>", "<![CDATA[<!--]]>", "<?xml a='>", "<b c=\"<!--\"/>",
                               "<b c='\">'/>", "<b c=\"&#x\" d='<!-- x41;\"/>", "&#<!-- #65;"})
        EXPECT_EQ(readBack("<QuillstonePreferences>" + std::string(before) + deep), "refused") << before;

    const std::string good = document("<card id=\"1\"><attribute name=\"a\" value=\"&#x41;\"/></card>");
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_EQ(readBack(good.substr(0, length)), "refused") << length;

    PreferenceStore store(true);
    for (const char* inPlace : {"rm -f $0", "mkfifo $0", "rm $0 && mkdir $0"})
    {
        EXPECT_EQ(Child({"/bin/sh", "-c", inPlace, path}, home / "errors").wait(), 0);
        EXPECT_FALSE(store.read()) << inPlace;
    }
    unsetenv("HOME");
    PreferenceStore homeless(true);
    EXPECT_FALSE(homeless.read());
    EXPECT_FALSE(homeless.write());
}

}
