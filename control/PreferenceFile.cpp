#include "control/PreferenceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <boost/filesystem/exception.hpp>

#include "control/CommandError.h"
#include "control/SettingChanges.h"
#include "control/VisibleText.h"
#include "preferences/Owner.h"
#include "preferences/PreferenceIO.h"
#include "preferences/RegularFile.h"

namespace
{

/// How often a file is read until it stays the same, and how long it is left to its writer in between.
constexpr int maxReadings = 50;
constexpr std::chrono::milliseconds betweenReadings(2);

/// The bytes as they all stood in the file at one moment. One that is replaced meanwhile is read to its end. One that
/// is written in place gives the same twice once its writer is through, or pauses; until then it fails with EAGAIN.
/// With ENOENT only if there is no file, and ENOSYS without /proc.
std::optional<std::string> readAtOneMoment(const std::string& path, struct stat& status)
{
    const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC)); // which waits for nothing, whatever stands there
    if (!file || fstat(file.get(), &status) != 0)
        return std::nullopt;
    const std::string held = "/proc/self/fd/" + std::to_string(file.get());
    std::optional<std::string> bytes = readRegularFile(held);
    for (int reading = 1; bytes && reading < maxReadings; ++reading)
    {
        std::optional<std::string> again = readRegularFile(held);
        if (again == bytes)
            return bytes;
        bytes = std::move(again);
        std::this_thread::sleep_for(betweenReadings);
    }
    if (bytes)
        errno = EAGAIN;
    else if (errno == ENOENT)
        errno = ENOSYS;
    return std::nullopt;
}

std::string systemWords(int error) { return std::generic_category().message(error); }

/// In the words of the system, but for what it has no fitting ones.
std::string reasonOf(int error)
{
    if (error == EINVAL)
        return "not a regular file";
    if (error == EAGAIN)
        return "it changes while it is read";
    return error == ENOSYS ? "it is read through /proc, which is not there" : systemWords(error);
}

/// What of the folder stands already: the rest would be made in it.
std::filesystem::path standing(std::filesystem::path folder)
{
    std::error_code error;
    while (!exists(folder, error) && folder.has_relative_path())
        folder = folder.parent_path();
    return folder.empty() ? "." : folder;
}

/// With the rights of the process, whatever those of its caller.
void requireRightToMakeFiles(const std::filesystem::path& folder, const std::string& path)
{
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        throw CommandError("no right to replace " + path + ", which takes writing in " + folder.string() + ": " +
                           systemWords(errno));
}

}

PreferenceFile::PreferenceFile(const std::string& path) : path(path), store(path) {}

bool PreferenceFile::read()
{
    store.clear();
    status = {};
    std::optional<std::string> bytes = readAtOneMoment(path, status);
    const int error = errno;
    missing = !bytes && error == ENOENT;
    unread = !bytes && !missing;
    text = bytes.value_or("");
    if (bytes)
        return store.parseText(std::move(*bytes), &report);
    report = {};
    report.refused = true;
    report.reason = reasonOf(error);
    return false;
}

void PreferenceFile::require()
{
    if (!read())
        throw CommandError(path + " can't be read: " + refusalOf(report));
}

void PreferenceFile::requireUnlessMissing()
{
    if (!read() && !missing)
        throw CommandError(path + " can't be read: " + refusalOf(report) +
                           (text.empty() ? "" : "; repair a copy of it, and 'ostrivanectl import' that"));
}

std::string PreferenceFile::notKept() const
{
    PreferenceStore again(path);
    again.parseText(store.io->text());
    const std::vector<SettingChange> changes = changesBetween(store, again);
    for (const SettingChange& change : changes)
        if (change.before)
            return "setting '" + visible(change.name) + "' of '" + visible(change.key) + "'";
    return "";
}

void PreferenceFile::write()
{
    const std::string lost = notKept();
    if (!lost.empty())
        throw CommandError("the file's format can't hold " + lost + " as it is; " + path + " stays as it was");
    try
    {
        if (!store.write())
            throw CommandError(path + " can't be written: " + systemWords(errno));
    }
    catch (const boost::filesystem::filesystem_error& error)
    {
        throw CommandError(path + " can't be written: " + error.code().message());
    }
}

void PreferenceFile::requireRightToReplace() const
{
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    requireRightToMakeFiles(standing(folder.parent_path()), path); // where the new file is made
    requireRightToMakeFiles(standing(folder), path);               // where it gets its name
}

std::string lossOf(const PassedOver& passed)
{
    const std::string kind = nameOf(passed.kind);
    return passed.name.empty() ? kind : kind + " '" + visible(passed.name) + "'";
}

std::string lossesOf(const ReadReport& report)
{
    std::vector<std::pair<const PassedOver*, size_t>> kinds; // the first of each, and how many
    for (const PassedOver& passed : report.passedOver)
    {
        const auto same = [&](const auto& kind) { return kind.first->kind == passed.kind; };
        const auto kind = std::find_if(kinds.begin(), kinds.end(), same);
        if (kind == kinds.end())
            kinds.emplace_back(&passed, 1);
        else
            ++kind->second;
    }
    std::string result;
    for (const auto& [first, count] : kinds)
        result += (result.empty() ? "" : ", ") + std::string(nameOf(first->kind)) + " (line " +
                  std::to_string(first->place.line) +
                  (count > 1 ? " and " + std::to_string(count - 1) + " more)" : ")");
    return result;
}

std::string refusalOf(const ReadReport& report)
{
    std::string reason = visible(report.reason);
    if (report.place.line == 0)
        return reason;
    return "line " + std::to_string(report.place.line) + ", column " + std::to_string(report.place.column) + ": " +
           reason;
}
