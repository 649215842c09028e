#include <gtest/gtest.h>

#include "tests/TestMachine.h"

TEST(LoaderTest, FindsWhatIsThereAndSaysOnceWhatIsNot)
{
    // The libraries beside the program, from the folders of the fixtures; its argument and output; what each line on
    // stderr has to hold.
    using Row = std::tuple<Lines, const char*, std::string, Lines>;
    const std::string api = "/libTessarigAPI.so";
    const std::string preview = "preview/libTessarigPreviewAPI.so";
    const std::string noPreview = "CreateOpenGLScreenPreviewHelper_0002";
    for (const auto& [libraries, argument, output, errors] :
         {Row{{"whole" + api}, "load", "no no 1 2 3 4 5 loaded 0 0 ", {"opened", "libTessarigPreviewAPI.so"}},
          {{}, "load", "no no 0 0 0 0 0 no 0 0 ", {"libTessarigAPI.so", "libTessarigPreviewAPI.so"}},
          {{"no_iterator" + api, preview},
           "load",
           "no no 0 2 3 4 5 loaded 0 7 ",
           {"opened", "CreateTessarigIteratorInstance_0004", "opened", noPreview}},
          {{"no_discovery" + api, preview},
           "preview",
           "no 0 7 loaded 1 2 3 0 5 loaded 0 7 ",
           {"opened", "CreateTessarigDiscoveryInstance_0003", "opened", noPreview}},
          {{preview}, "preview", "no 0 7 no 0 0 0 0 0 no 0 7 ", {"libTessarigAPI.so", "opened", noPreview}}})
    {
        SCOPED_TRACE(output);
        Lines files = {PROBE};
        for (const std::string& library : libraries)
            files.push_back(FIXTURES "/" + library);
        const Stage stage(files);
        Child probe({"/bin/sh", "-c", "exec $0 $1 >$2", stage / "probe", argument, stage / "output"}, stage / "errors");
        EXPECT_EQ(probe.wait(), 0);
        EXPECT_EQ(contents(stage / "output"), output);

        std::istringstream lines(contents(stage / "errors"));
        std::string line;
        for (const std::string& part : errors)
            EXPECT_TRUE(std::getline(lines, line) && line.find(part) != std::string::npos)
                << line << " without " << part;
        EXPECT_FALSE(std::getline(lines, line)) << line;
    }
}
