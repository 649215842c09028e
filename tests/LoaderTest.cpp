#include <gtest/gtest.h>

#include "tests/TestMachine.h"

namespace
{

TEST(LoaderTest, FindsWhatIsThereAndSaysOnceWhatIsNot)
{
    struct Row
    {
        std::vector<std::string> libraries; ///< Folders of the fixtures.
        const char* argument;
        std::string output;
        std::string errors; ///< What each line on stderr has to hold, in order.
    };
    const Row rows[] = {
        {{"whole"}, nullptr, "no no 4 4 4 4 1 2 3 4 5 loaded 0 0 ", "opened;libTessarigPreviewAPI.so"},
        {{}, nullptr, "no no 0 0 0 0 0 0 0 0 0 no 0 0 ", "libTessarigAPI.so;libTessarigPreviewAPI.so"},
        {{"no_iterator", "preview"},
         nullptr,
         "no no 4 4 4 4 0 2 3 4 5 loaded 0 7 ",
         "opened;CreateTessarigIteratorInstance_0004;opened;CreateOpenGLScreenPreviewHelper_0002"},
        {{"no_discovery", "preview"},
         "preview",
         "no 0 7 loaded 0 0 0 0 1 2 3 0 5 loaded 0 7 ",
         "opened;CreateTessarigDiscoveryInstance_0003;opened;CreateOpenGLScreenPreviewHelper_0002"},
        {{"preview"},
         "preview",
         "no 0 7 no 0 0 0 0 0 0 0 0 0 no 0 7 ",
         "libTessarigAPI.so;opened;CreateOpenGLScreenPreviewHelper_0002"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.output);
        std::vector<std::string> files = {LOADER_PROBE};
        for (const std::string& library : row.libraries)
            files.push_back(std::string(FIXTURES) + "/" + library + "/libTessarig" +
                            (library == "preview" ? "PreviewAPI.so" : "API.so"));
        const Stage stage(files);
        Child probe({"/bin/sh", "-c", "exec $0 $1 >$2", stage / "loader_probe", row.argument ? row.argument : "",
                     stage / "output"},
                    {}, stage / "errors");
        EXPECT_EQ(probe.wait(), 0);
        EXPECT_EQ(contents(stage / "output"), row.output);

        std::istringstream lines(contents(stage / "errors"));
        std::istringstream expected(row.errors);
        for (std::string line, part; std::getline(expected, part, ';');)
        {
            std::getline(lines, line);
            EXPECT_NE(line.find(part), std::string::npos) << line << " without " << part;
        }
        EXPECT_EQ(lines.get(), EOF);
    }
}

}
