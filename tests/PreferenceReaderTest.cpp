#include <fcntl.h>

#include <csignal>
#include <thread>
#include <utility>

#include "fuzz/ParserDocument.h"
#include "preferences/Owner.h"
#include "tests/PreferenceTest.h"

class PreferenceReaderTest : public PreferenceTest
{
protected:
    /// The table that the text gives, or "refused"; then the file and the table are as they were.
    std::string readBack(const std::string& text)
    {
        put(text);
        PreferenceStore fresh(true);
        fresh.set("old", "a", 1L);
        if (fresh.read())
            return tableOf(fresh);
        EXPECT_EQ(tableOf(fresh), "old[a=long 1]");
        EXPECT_EQ(contents(path), text);
        return "refused";
    }

    /// The document of one card with one setting of this value.
    static std::string valued(const std::string& value)
    {
        return document("<card id='1'><attribute name='a' value='" + value + "'/></card>");
    }

    static std::string textOf(const TextPlace& place)
    {
        return std::to_string(place.line) + ":" + std::to_string(place.column) + " ";
    }
};

TEST_F(PreferenceReaderTest, RefusesWhatIsNoWholePreferenceFile)
{
    for (const char* text : {"<?xml version='1.0'?>", "", "text", "<quillstonePreferences/>", "<QuillstonePreferences",
                             "<other/><QuillstonePreferences/>", "<QuillstonePreferences/><unclosed",
                             "<QuillstonePreferences><card id='1'></QuillstonePreferences></card>",
                             "<QuillstonePreferences><card id='1' id='1'/></QuillstonePreferences>",
                             "\xEF\xBB\xBF<QuillstonePreferences a=\"\xF0"})
        EXPECT_EQ(readBack(text), "refused") << text;
    const std::string whole = valued("&#x41;");
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(readBack(whole.substr(0, length)), "refused") << length;
}

TEST_F(PreferenceReaderTest, ReadsWhatItTolerates)
{
    const std::string a = "<attribute name='a' value='1'/>";
    for (const auto& [text, table] :
         {std::pair<std::string, std::string>{document("<card id='1'>" + a + "</card>") + "junk \xE4", "1[a=1]"},
          {document("<card>" + a + "</card><thing id='2'>" + a + "</thing><card id='3'/>"), "2[a=1]"},
          {document("<group id='16'>" + a + "</group><card id='group16'><attribute name='b' value='2'/></card>"),
           "group16[a=1,b=2]"},
          {document("<card id=''>" + a + "</card><group id=''>" + a + "</group>"), "[a=1] group[a=1]"},
          {document("<card id='1'><x/>text<attribute value='1'/><attribute name='b'/><attribute name=c value=d/>"
                    "<attribute name='' value=''/><attribute name='c' value='e'/></card>"),
           "1[c=e,=]"},
          {valued("&lt;&#65;&#x142;\r\nb\rc"), "1[a=<AB\nb\nc]"},
          {"\xEF\xBB\xBF" + valued("&#xE4;"), "1[a=\xC3\xA4]"},
          {"<?xml encoding='utf8'?>" + valued("&#xE4;"), "1[a=\xC3\xA4]"},
          {valued("x&#0;y"), "1[a=x" + std::string(1, '\0') + "y]"},
          {valued("x") + std::string(1'000'000, '\0') + "<", "1[a=x]"}})
        EXPECT_EQ(readBack(text), table) << text.substr(0, 200);
}

TEST_F(PreferenceReaderTest, TakesTimeAndMemoryInProportionToTheText)
{
    // The parser's document would take an hour for these, or the stack.
    std::string starts, ends, attributes;
    for (int i = 0; i < 1'000'000; ++i)
    {
        starts += "<a>";
        ends += "</a>";
    }
    EXPECT_EQ(readBack(document(starts + ends)), "");
    EXPECT_EQ(readBack(document(starts)), "refused");
    for (int i = 0; i < 300'000; ++i)
        attributes += " a" + std::to_string(i) + "='1'";
    EXPECT_EQ(readBack(document("<b" + attributes + "/>")), "");
    EXPECT_EQ(readBack(document("<b" + attributes + " a0='1'/>")), "refused");

    put(valued("1"));
    std::filesystem::resize_file(path, uintmax_t(1) << 43); // a hole, which starts with a NUL byte
    EXPECT_TRUE(store.read());
    EXPECT_EQ(tableOf(store), "1[a=1]");
}

TEST_F(PreferenceReaderTest, ReadsTheFuzzersCorpusAsTheParsersDocumentDoes)
{
    int accepted = 0;
    for (const auto& file : std::filesystem::directory_iterator(CORPUS))
    {
        const std::string text = contents(file.path());
        EXPECT_EQ(differenceOf(text), "") << file.path();
        accepted += PreferenceStore{std::string()}.parseText(text);
    }
    EXPECT_GT(accepted, 2);
}

TEST_F(PreferenceReaderTest, ReadsARegularFileOnlyAndWaitsForNobody)
{
    for (const auto& [inPlace, reason] : {std::pair("rm -f $0", "No such file or directory"),
                                          {"mkfifo $0", "not a regular file"},
                                          {"rm $0 && mkdir $0", "Is a directory"}})
    {
        EXPECT_EQ(Child({"/bin/sh", "-c", inPlace, path}, home / "errors").wait(), 0);
        ReadReport report;
        EXPECT_FALSE(store.read(&report)) << inPlace;
        EXPECT_EQ(report.reason, reason);
    }
}

TEST_F(PreferenceReaderTest, WaitsForAnotherProcessToGiveUpItsLease)
{
    put(valued("1"));
    sigset_t signals, former;
    sigemptyset(&signals);
    sigaddset(&signals, SIGIO);
    pthread_sigmask(SIG_BLOCK, &signals, &former);
    const Descriptor holder(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(fcntl(holder.get(), F_SETLEASE, F_WRLCK), 0);
    bool read = false;
    std::thread reader([&] { read = store.read(); });
    const timespec longest = {10, 0};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &longest), SIGIO); // somebody wants to open the file
    EXPECT_EQ(fcntl(holder.get(), F_SETLEASE, F_UNLCK), 0);
    reader.join();
    EXPECT_TRUE(read);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

TEST_F(PreferenceReaderTest, TellsWhyATextIsRefused)
{
    ReadReport report;
    for (const auto& [text, reason] :
         {std::pair("", "0:0 it is empty |"),
          {"\n <!-- -->", "0:0 there is no element |"},
          {"\r\n\r <thing/>", "3:2 the first element is <thing> instead of <QuillstonePreferences> | <thing/>"},
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
        EXPECT_EQ(textOf(report.place) + report.reason + " |" + report.line, reason);
    }
}

TEST_F(PreferenceReaderTest, TellsWhatAWriteWouldLose)
{
    ReadReport report;
    ASSERT_TRUE(
        store.parseText("<?xml encoding='utf-8'?>\n<!-- by hand -->\n<?xml?><QuillstonePreferences a='1'>\n"
                        "<card><attribute name='a' b=''/></card>\nsome text<x id='3' c=''/><group id='16'>\n"
                        "<attribute name='a' value='1'/><attribute name='a' value='2' d='3'><!-- --></attribute>\n"
                        "<attribute name='b'/><e>x</e></group>\n<group id='16'/><?x?></QuillstonePreferences>\n"
                        "<more><less/></more>end",
                        &report));
    std::string losses;
    for (const PassedOver& passed : report.passedOver)
        losses += textOf(passed.place) + nameOf(passed.kind) + " " + passed.name + "; ";
    EXPECT_EQ(losses,
              "1:1 encoding utf-8; 2:1 comment by hand; 3:1 other markup ?xml?; 3:31 other attribute a; "
              "4:1 entry without an id card; 5:1 text some; 5:10 element name x; 5:10 entry without a setting 3; "
              "5:20 other attribute c; 6:32 doubled setting a; 6:62 other attribute d; 6:68 comment ; "
              "7:1 setting without a name or a value b; 7:22 other element e; 8:1 doubled key group16; "
              "8:1 entry without a setting group16; 8:17 other markup ?x?; 9:1 other element more; "
              "9:21 all that follows end; ");
    EXPECT_EQ(tableOf(store), "group16[a=2]");
}
