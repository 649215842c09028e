#include <csignal>
#include <map>
#include <sstream>

#include "tests/PreferenceTest.h"

namespace
{

/// One system call of a save, as strace shows it.
struct Call
{
    std::string name;
    std::string line;
    int occurrence; ///< Counted from the start of the process.
};

/// The save of save_probe under strace, which makes calls fail or ends the process at one.
class SaveFaultTest : public PreferenceTest
{
protected:
    SaveFaultTest()
    {
        put(oldFile);
        PreferenceStore store(true);
        store.read();
        store.set("1", "a", std::string("new"));
        store.write();
        newFile = contents(path);
    }

    /// The probe's status, -1 if a signal ended it. `injection` is strace's, or empty.
    int save(const std::string& injection)
    {
        put(oldFile);
        std::vector<std::string> words = {"/usr/bin/strace", "-f", "-o", home / "trace", "-s", "200"};
        if (!injection.empty())
            words.insert(words.end(), {"-e", "inject=" + injection});
        words.push_back(SAVE_PROBE);
        return Child(words, {}, home / "errors").wait();
    }

    std::vector<Call> callsOfSave()
    {
        EXPECT_EQ(save(""), 0);
        std::vector<Call> calls;
        std::map<std::string, int> counts;
        std::istringstream trace(contents(home / "trace"));
        for (std::string line; std::getline(trace, line);)
        {
            const size_t name = line.find_first_not_of("0123456789 ");
            const size_t end = line.find('(');
            if (name == std::string::npos || end == std::string::npos)
                continue;
            const std::string call = line.substr(name, end - name);
            const int occurrence = ++counts[call];
            // Making the temporary file's name takes random bytes in some runs only, so no other run can be stopped there.
            if (counts["getppid"] == 1 && call != "getrandom")
                calls.push_back({call, line, occurrence});
        }
        return calls;
    }

    bool temporaryLeft() const { return std::distance(std::filesystem::directory_iterator(home / ".config"), {}) != 1; }

    const std::string oldFile = document("<card id=\"1\"><attribute name=\"a\" value=\"old\"/></card>");
    std::string newFile;
};

TEST_F(SaveFaultTest, EveryFailureLeavesTheOldFileOrTheNewOneWhole)
{
    struct Row
    {
        const char* name;
        const char* part; ///< Of the line, to tell two of a name apart.
        std::vector<const char*> errors;
        int status;
        int found;
    };
    Row rows[] = {
        {"newfstatat", "quillstone\"", {"EIO", "EACCES"}, 2, 0},
        {"openat", "O_CREAT", {"EACCES", "EROFS", "ENOSPC", "EIO", "EINTR"}, 1, 0},
        {"fchmod", "0666", {"EIO", "EROFS"}, 0, 0},
        {"openat", "O_RDONLY|O_CLOEXEC", {"EACCES", "EIO"}, 0, 0},
        {"fcntl", "F_GETFL", {"EIO"}, 1, 0},
        {"write", "<?xml", {"EIO", "ENOSPC", "EINTR"}, 1, 0},
        {"fdatasync", "", {"EIO", "ENOSPC", "EROFS", "EINTR"}, 1, 0}, // the file's, which is the first
        {"rename", "", {"EIO", "ENOSPC", "EROFS", "EACCES"}, 1, 0},
    };
    for (const Call& call : callsOfSave())
        for (Row& row : rows)
        {
            if (call.name != row.name || call.line.find(row.part) == std::string::npos)
                continue;
            const bool ofFolder = call.name == "fdatasync" && row.found == 1;
            ++row.found;
            for (const char* error : row.errors)
            {
                SCOPED_TRACE(call.line + " with " + error);
                const int status = ofFolder ? 0 : row.status;
                EXPECT_EQ(save(call.name + ":error=" + error + ":when=" + std::to_string(call.occurrence)), status);
                EXPECT_EQ(contents(path), status == 0 ? newFile : oldFile);
                EXPECT_FALSE(temporaryLeft());
            }
        }
    for (const Row& row : rows)
        EXPECT_EQ(row.found, std::string("fdatasync") == row.name ? 2 : 1) << row.name << " " << row.part;
}

TEST_F(SaveFaultTest, AKillAtAnyCallLeavesTheOldFileOrTheNewOneWhole)
{
    bool renamed = false;
    for (const Call& call : callsOfSave())
    {
        // The kill comes before the call is made, and so right after the one before it.
        SCOPED_TRACE(call.line);
        EXPECT_EQ(save(call.name + ":signal=KILL:when=" + std::to_string(call.occurrence)), -1);
        EXPECT_EQ(contents(path), renamed ? newFile : oldFile);
        renamed = renamed || call.name == "rename";
    }
    EXPECT_TRUE(renamed);
}

}
