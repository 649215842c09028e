#include <algorithm>
#include <iterator>

#include "tests/PreferenceTest.h"
#include "tests/Traced.h"

/// One system call of a save, as strace shows it.
struct Call
{
    std::string name;
    std::string deed; ///< What it does: releases of the libraries do the same by other names.
    std::string line;
    std::string when; ///< Its occurrence from the start of the process, as strace is told it.
};

/// The save of save_probe under strace, which makes calls fail or ends the process at one.
class FileReplacementTest : public PreferenceTest
{
protected:
    void SetUp() override { SKIP_UNLESS_TRACING_WORKS(); }

    static std::string deedOf(const std::string& name)
    {
        for (const auto& [deed, names] : {std::pair("look", " stat lstat newfstatat statx "),
                                          {"open", " open openat openat2 "},
                                          {"open to all", " fchmod fchmodat fchmodat2 "},
                                          {"sync", " fdatasync fsync "},
                                          {"rename", " rename renameat renameat2 "}})
            if (std::string(names).find(" " + name + " ") != std::string::npos)
                return deed;
        return name;
    }

    /// The probe's status, -1 if a signal ended it. The injection is strace's.
    int save(const std::string& injection)
    {
        put(oldFile);
        return Child({"/usr/bin/strace", "-o", home / "trace", "-s", "200", "-e", "inject=" + injection, SAVE_PROBE},
                     home / "errors")
            .wait();
    }

    std::vector<Call> callsOfSave()
    {
        EXPECT_EQ(save("getuid:delay_enter=0"), 0);
        std::vector<Call> calls;
        std::map<std::string, int> counts;
        std::istringstream trace(contents(home / "trace"));
        for (std::string line; std::getline(trace, line);)
        {
            const std::string name = line.substr(0, line.find('('));
            const std::string when = ":when=" + std::to_string(++counts[name]);
            // Making the temporary file's name takes random bytes in some runs only, so no other can be stopped there.
            if (counts["getppid"] == 1 && name != "getrandom")
                calls.push_back({name, deedOf(name), line, when});
        }
        return calls;
    }

    const std::string longName = std::string(10'000, 'x'); ///< So that it takes several writes.
    const std::string oldFile = document("<card id=\"1\"><attribute name=\"a\" value=\"old\"/><attribute name=\"" +
                                         longName + "\" value=\"\"/></card>");
};

TEST_F(FileReplacementTest, AFailureOrAKillAtAnyCallLeavesTheOldFileOrTheNewOneWhole)
{
    struct Step
    {
        std::string deed;
        const char* part; ///< Of the call's line.
        Lines errors;
        int status; ///< The probe's.
    };
    const Step steps[] = {
        {"look", "quillstone\"", {"EIO", "EACCES"}, 2},
        {"open", "/quillstone.QuillstonePreferences.xml~", {"EACCES", "EROFS", "ENOSPC", "EIO", "EINTR"}, 1},
        {"open to all", "0666", {"EIO", "EROFS"}, 0},
        {"open", "O_RDONLY|O_CLOEXEC", {"EACCES", "EIO"}, 0},
        {"fcntl", "F_GETFL", {"EIO"}, 1},
        {"write", "<?xml", {"EIO", "ENOSPC", "EINTR"}, 1},
        {"sync", "", {"EIO", "ENOSPC", "EROFS", "EINTR"}, 1},
        {"rename", "", {"EIO", "ENOSPC", "EROFS", "EACCES"}, 1},
        {"sync", "", {"EIO", "ENOSPC", "EROFS", "EINTR"}, 0}, // of the folder
    };
    const std::vector<Call> calls = callsOfSave();
    const std::string newFile = contents(path);
    EXPECT_NE(newFile.find("\"new\""), std::string::npos);
    auto step = std::begin(steps);
    bool renamed = false;
    for (const Call& call : calls)
    {
        SCOPED_TRACE(call.line);
        const auto& [deed, part, errors, status] = *std::min(step, std::prev(std::end(steps)));
        if (step != std::end(steps) && call.deed == deed && call.line.find(part) != std::string::npos)
        {
            ++step;
            for (const std::string& error : errors)
            {
                EXPECT_EQ(save(call.name + ":error=" + error + call.when), status) << error;
                EXPECT_EQ(contents(path), status == 0 ? newFile : oldFile) << error;
                EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home / ".config"), {}), 1) << error;
            }
        }
        // The kill comes before the call is made, and so right after the one before it. It may leave a temporary file.
        EXPECT_EQ(save(call.name + ":signal=KILL" + call.when), -1);
        EXPECT_EQ(contents(path), renamed ? newFile : oldFile);
        for (const auto& left : std::filesystem::directory_iterator(home / ".config"))
            if (left.is_regular_file())
                std::filesystem::remove(left);
        renamed = renamed || call.deed == "rename";
    }
    EXPECT_EQ(step, std::end(steps)) << "the save has not made all of these calls in this order";
}
