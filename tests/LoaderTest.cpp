#include "tests/TestMachine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

TEST(LoaderTest, FindsWhatIsThereAndSaysOnceWhatIsNot)
{
    struct Row
    {
        const char* what;
        std::vector<std::string> libraries;
        std::vector<std::string> words;
        std::string output;
        int opened;
        std::vector<std::string> complaints; ///< A text that each further line on stderr holds, in order.
    };
    const std::string api = "libTessarigAPI.so";
    const std::string preview = "libTessarigPreviewAPI.so";
    const Row rows[] = {
        {"whole",
         {"whole"},
         {"loaded", "CreateTessarigDiscoveryInstance", "loaded", "all"},
         "no 4 loaded 1 2 3 4 5 0 0 ",
         1,
         {preview}},
        {"no library", {}, {"all", "all", "loaded"}, "0 0 0 0 0 0 0 0 0 0 0 0 0 0 no ", 0, {api, preview}},
        {"no first symbol",
         {"no_iterator"},
         {"all", "loaded"},
         "0 2 3 4 5 0 0 loaded ",
         1,
         {"CreateTessarigIteratorInstance_0004", preview}},
        {"no discovery",
         {"no_discovery"},
         {"CreateTessarigAPIInformationInstance", "CreateTessarigDiscoveryInstance", "loaded"},
         "2 0 loaded ",
         1,
         {"CreateTessarigDiscoveryInstance_0003"}},
        {"preview first",
         {"whole", "preview"},
         {"CreateOpenGLScreenPreviewHelper", "loaded", "all"},
         "0 loaded 1 2 3 4 5 0 7 ",
         2,
         {"CreateOpenGLScreenPreviewHelper_0002"}},
        {"preview alone",
         {"preview"},
         {"CreateOpenGL3ScreenPreviewHelper", "loaded"},
         "7 no ",
         1,
         {api, "CreateOpenGLScreenPreviewHelper_0002"}},
        {"many threads", {"whole"}, {"race"}, "4 4 4 4 4 4 4 4 ", 1, {}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        std::vector<std::string> files = {LOADER_PROBE};
        for (const std::string& library : row.libraries)
            files.push_back(std::string(FIXTURES) + "/" + library + "/" + (library == "preview" ? preview : api));
        const Stage stage(files);
        std::vector<std::string> words = {"/bin/sh", "-c", "exec \"$@\" >" + (stage / "output"), "sh",
                                          stage / "loader_probe"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        Child probe(words, {}, stage / "errors");
        EXPECT_EQ(probe.wait(), 0);
        EXPECT_EQ(contents(stage / "output"), row.output);

        std::vector<std::string> lines;
        std::istringstream errors(contents(stage / "errors"));
        for (std::string line; std::getline(errors, line);)
            lines.push_back(line);
        EXPECT_EQ(std::erase(lines, "opened"), static_cast<size_t>(row.opened));
        ASSERT_EQ(lines.size(), row.complaints.size()) << contents(stage / "errors");
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_NE(lines[i].find(row.complaints[i]), std::string::npos) << lines[i];
    }
}

}
