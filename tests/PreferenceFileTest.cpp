#include <fcntl.h>

#include <csignal>
#include <random>
#include <thread>

#include "fuzz/ParserDocument.h"
#include "preferences/Owner.h"
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
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(home.folder);
    const std::string bare = "bare.xml"; // stands in the working folder
    EXPECT_TRUE(PreferenceStore(bare).write() && PreferenceStore(bare).read());
    std::filesystem::current_path(former);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home.folder), {}), 2);
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
        std::string text = pick({"", "", "<?xml?>", "<?xml version='1.0' encoding='ISO-8859-1'?>", "\xEF\xBB\xBF",
                                 "\xEF\xBB\xBF<?xml encoding='x'?>"}) +
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
        accepted += PreferenceStore{std::string()}.parseText(text);
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
    for (const auto& [inPlace, reason] : {std::pair("rm $0", "No such file or directory"),
                                          {"mkfifo $0", "not a regular file"},
                                          {"rm $0 && mkdir $0", "Is a directory"}})
    {
        EXPECT_EQ(Child({"/bin/sh", "-c", inPlace, path}, home / "errors").wait(), 0);
        ReadReport report;
        EXPECT_FALSE(store.read(&report)) << inPlace;
        EXPECT_EQ(report.reason, reason);
    }
    unsetenv("HOME");
    PreferenceStore homeless(true);
    EXPECT_FALSE(homeless.read());
    EXPECT_FALSE(homeless.write());
}

TEST_F(PreferenceFileTest, WaitsForAnotherProcessToGiveUpItsLease)
{
    put(document("<card id='1'><attribute name='a' value='1'/></card>"));
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGIO);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const Descriptor holder(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(fcntl(holder.get(), F_SETLEASE, F_WRLCK), 0);
    PreferenceStore store(true);
    bool read = false;
    std::thread reader([&] { read = store.read(); });
    const timespec longest = {10, 0};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &longest), SIGIO); // somebody wants to open the file
    EXPECT_EQ(fcntl(holder.get(), F_SETLEASE, F_UNLCK), 0);
    reader.join();
    EXPECT_TRUE(read);
}

TEST_F(PreferenceFileTest, TellsWhyATextIsRefusedAndWhatAWriteWouldLose)
{
    PreferenceStore store{std::string()};
    ReadReport report;
    for (const auto& [text, reason] :
         {std::pair("", "0:0 it is empty"),
          {"\n <!-- -->", "0:0 there is no element"},
          {"\r\n\r <thing/>", "3:2 the first element is <thing> instead of <QuillstonePreferences> | <thing/>"},
          {"<QuillstonePreferences>\n <card>\n</QuillstonePreferences>",
           "3:1 </card> is missing here |</QuillstonePreferences>"},
          {"<QuillstonePreferences>\n <card id='1'>", "2:2 <card> is not closed | <card id='1'>"},
          {"<QuillstonePreferences><a b='1' c='2' b='3'/>",
           "1:39 the attribute 'b' stands there twice |<QuillstonePreferences><a b='1' c='2' b='3'/>"},
          {"<QuillstonePreferences>\n<a b='1 c='2'>",
           "2:12 '2'' is no attribute with a value in quotes |<a b='1 c='2'>"},
          {"<QuillstonePreferences>\n<a/ >", "2:3 '/' without '>' |<a/ >"},
          {"<abbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb\xF0\x9F\x8E\xA5/>",
           "1:1 the first element is <abbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb...> instead of <QuillstonePreferences> "
           "|<abbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb\xF0\x9F\x8E\xA5/>"}})
    {
        EXPECT_FALSE(store.parseText(text, &report)) << text;
        EXPECT_EQ(std::to_string(report.place.line) + ":" + std::to_string(report.place.column) + " " + report.reason +
                      (report.line.empty() ? "" : " |" + report.line),
                  reason);
    }

    ASSERT_TRUE(
        store.parseText("<?xml encoding='utf-8'?>\n<!-- by hand -->\n<QuillstonePreferences a='1'>\n"
                       "<card><attribute name='a' b=''/></card>\nsome text<x id='3' c=''/><group id='16'>\n"
                       "<attribute name='a' value='1'/><attribute name='a' value='2' d='3'><!-- --></attribute>\n"
                       "<attribute name='b'/><e>x</e></group>\n<group id='16'/><?x?></QuillstonePreferences>\n"
                       "<more><less/></more>end",
                       &report));
    std::string losses;
    for (const PassedOver& passed : report.passedOver)
        losses += std::to_string(passed.place.line) + ":" + std::to_string(passed.place.column) + " " +
                  nameOf(passed.kind) + " " + passed.name + "\n";
    EXPECT_EQ(losses, R"(1:1 encoding utf-8
2:1 comment by hand
3:24 other attribute a
4:1 entry without an id card
5:1 text some
5:10 element name x
5:10 entry without a setting 3
5:20 other attribute c
6:32 doubled setting a
6:62 other attribute d
6:68 comment 
7:1 setting without a name or a value b
7:22 other element e
8:1 doubled key group16
8:1 entry without a setting group16
8:17 other markup ?x?
9:1 other element more
9:21 all that follows end
)");
    EXPECT_EQ(tableOf(store), "group16[a=2]");
}
