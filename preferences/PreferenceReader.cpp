#include <cerrno>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceText.h"
#include "preferences/RegularFile.h"

namespace
{

constexpr const char* systemPath = "/etc/quillstone/QuillstonePreferences.xml";
constexpr const char* pathInHome = "/.config/quillstone/QuillstonePreferences.xml";

std::string choosePath(bool useUserFile)
{
    if (!useUserFile)
        return systemPath;
    const char* home = getenv("HOME");
    return home ? std::string(home) + pathInHome : std::string();
}

}

PreferenceIO::PreferenceIO(PreferenceStore* store, bool useUserFile) : PreferenceIO(store, choosePath(useUserFile)) {}

PreferenceIO::PreferenceIO(PreferenceStore* store, std::string path) : path(std::move(path)), store(store) {}

bool PreferenceIO::read(ReadReport* report)
{
    std::optional<std::string> text = readRegularFile(path);
    if (text)
        return parsePreferences(std::move(*text), *store, report);
    if (report)
    {
        *report = {};
        report->refused = true;
        report->reason = errno == EINVAL ? "not a regular file" : std::generic_category().message(errno);
    }
    return false;
}
