#include <gtest/gtest.h>

#include "tests/TestMachine.h"

namespace
{

TEST(LoaderTest, FindsWhatIsThereAndSaysOnceWhatIsNot)
{
    struct Row
    {
        Lines libraries; ///< Beside the program, in the folders of the fixtures.
        const char* argument;
        std::string output;
        Lines errors; ///< What each line on stderr has to hold.
    };
    const std::string api = "/libTessarigAPI.so";
    const std::string preview = "preview/libTessarigPreviewAPI.so";
    const std::string noPreview = "CreateOpenGLScreenPreviewHelper_0002";
    for (const Row& row :
         {Row{{"whole" + api}, "", "no no 4 4 4 4 1 2 3 4 5 loaded 0 0 ", {"opened", "libTessarigPreviewAPI.so"}},
          {{}, "", "no no 0 0 0 0 0 0 0 0 0 no 0 0 ", {"libTessarigAPI.so", "libTessarigPreviewAPI.so"}},
          {{"no_iterator" + api, preview},
           "",
           "no no 4 4 4 4 0 2 3 4 5 loaded 0 7 ",
           {"opened", "CreateTessarigIteratorInstance_0004", "opened", noPreview}},
          {{"no_discovery" + api, preview},
           "preview",
           "no 0 7 loaded 0 0 0 0 1 2 3 0 5 loaded 0 7 ",
           {"opened", "CreateTessarigDiscoveryInstance_0003", "opened", noPreview}},
          {{preview}, "preview", "no 0 7 no 0 0 0 0 0 0 0 0 0 no 0 7 ", {"libTessarigAPI.so", "opened", noPreview}}})
    {
        SCOPED_TRACE(row.output);
        Lines files = {LOADER_PROBE};
        for (const std::string& library : row.libraries)
            files.push_back(FIXTURES "/" + library);
        const Stage stage(files);
        Child probe({"/bin/sh", "-c", "exec $0 $1 >$2", stage / "loader_probe", row.argument, stage / "output"},
                    stage / "errors");
        EXPECT_EQ(probe.wait(), 0);
        EXPECT_EQ(contents(stage / "output"), row.output);

        std::istringstream lines(contents(stage / "errors"));
        std::string line;
        for (const std::string& part : row.errors)
            EXPECT_TRUE(std::getline(lines, line) && line.find(part) != std::string::npos)
                << line << " without " << part;
        EXPECT_FALSE(std::getline(lines, line)) << line;
    }
}

}
