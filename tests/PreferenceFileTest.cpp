#include <random>

#include "tests/ParserDocument.h"
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

/// Makes documents of which about half are well-formed.
class Documents
{
public:
    explicit Documents(unsigned seed) : random(seed) {}

    std::string next()
    {
        std::string text = pick({"", "", "<?xml?>", "<?xml version='1.0' encoding='ISO-8859-1'?>", "\xEF\xBB\xBF"}) +
                           "<QuillstonePreferences" + attributes() + ">" + children(1) + "</QuillstonePreferences>" +
                           pick({"", "", "<!-- -->", "<a/>", "text", "</a>"});
        for (size_t changes = random() % 2 * (random() % 4); changes > 0; --changes)
            text.replace(random() % text.size(), random() % 3, piece());
        return text;
    }

private:
    using Choice = std::initializer_list<const char*>;
    std::string pick(Choice choice) { return choice.begin()[random() % choice.size()]; }

    std::string piece()
    {
        return pick({"<",         ">",    "/>",           "'",       "\"",  "<a>",  "</a>", "<!--",   "-->",
                     "<![CDATA[", "]]>",  "<?xml",        "&#x",     "&#4", "&lt;", "&",    ";",      "=",
                     "\xE4",      "\xF0", "\xEF\xBB\xBF", " id='1'", "\r",  "\r\n", "&#0;", "&#x142;"});
    }

    std::string attributes()
    {
        std::string text;
        for (const Choice words : {Choice{" id='1'", " id=17", "\nid=\"a'b\"", ""},
                                   {" name='n'", " name=\"\"", ""},
                                   {" value='&#xE4;\xE4&lt;\xC3\xA4'", " value = 'v'", ""}})
            text += pick(words);
        return text + (random() % 9 == 0 ? " " + pick({"a='1'", "id='2'", "b"}) : "");
    }

    std::string children(int depth)
    {
        std::string text;
        for (size_t count = depth > 4 ? 0 : random() % 4; count > 0; --count)
        {
            const std::string name = pick({"card", "group", "attribute", "attribute", "_x-1"});
            const std::string start = "<" + name + attributes();
            text += random() % 4 != 0   ? start + ">" + children(depth + 1) + "</" + name + ">"
                    : random() % 2 == 0 ? start + "/>"
                                        : pick({"<!-- c -->", "t", "<![CDATA[x]]>", "<!D>", "\n ", "<?xml?>"});
        }
        return text;
    }

    std::mt19937 random;
};

TEST_F(PreferenceFileTest, ReadsWhatTheParsersDocumentReads)
{
    Documents documents(14);
    int accepted = 0;
    for (int i = 0; i < 4000; ++i)
    {
        const std::string text = documents.next();
        ASSERT_EQ(differenceOf(text), "") << text;
        accepted += PreferenceStore{std::string()}.readText(text);
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_LT(accepted, 3000);
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

    // The parser's document would take an hour for these, or the stack.
    const std::string deep = repeated("<a>", 1'000'000);
    expectRead(document(deep + repeated("</a>", 1'000'000)), "");
    expectRead(document(deep), "refused");
    std::string attributes;
    for (int i = 0; i < 300'000; ++i)
        attributes += " a" + std::to_string(i) + "='1'";
    expectRead(document("<b" + attributes + "/>"), "");
    expectRead(document("<b" + attributes + " a0='1'/>"), "refused");

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
