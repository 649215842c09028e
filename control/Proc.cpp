#include "control/Proc.h"

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "preferences/Owner.h"

namespace
{

using Folder = Owner<DIR*, nullptr, closedir>;

std::string folderOf(pid_t process) { return "/proc/" + std::to_string(process) + "/"; }

/// The names in a folder that are numbers.
std::vector<pid_t> numbersIn(const std::string& path)
{
    std::vector<pid_t> numbers;
    const Folder folder(opendir(path.c_str()));
    while (folder)
    {
        const dirent* entry = readdir(folder.get());
        if (!entry)
            break;
        const std::string_view name = entry->d_name;
        pid_t number = 0;
        if (std::from_chars(name.begin(), name.end(), number).ptr == name.end())
            numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/// 7f00-7f01 rw-s 00000000 00:1a 2 /dev/shm/qsl_pref_mutex (deleted); nothing for memory without a file.
std::optional<Mapping> parseMapping(const std::string& line)
{
    uint64_t begin = 0, end = 0;
    unsigned major = 0, minor = 0;
    unsigned long inode = 0;
    int pathAt = 0;
    if (sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %*s %*s %x:%x %lu %n", &begin, &end, &major, &minor, &inode,
               &pathAt) != 5 ||
        inode == 0)
        return std::nullopt;
    std::string path = line.substr(static_cast<size_t>(pathAt));
    const bool deleted = path.ends_with(deletedMark);
    if (deleted)
        path.resize(path.size() - deletedMark.size());
    return Mapping{begin, end, {makedev(major, minor), inode}, path, deleted};
}

}

std::vector<pid_t> processes() { return numbersIn("/proc"); }

std::vector<pid_t> threadsOf(pid_t process) { return numbersIn(folderOf(process) + "task"); }

std::string procText(pid_t process, const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(folderOf(process) + file).rdbuf();
    std::string result = text.str();
    if (result.ends_with('\n'))
        result.pop_back();
    return result;
}

std::string statusField(pid_t process, std::string_view field)
{
    std::istringstream lines(procText(process, "status"));
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(field) && line.substr(field.size()).starts_with(":\t"))
            return line.substr(field.size() + 2);
    return {};
}

bool isStopped(pid_t process) { return statusField(process, "State").starts_with('T'); }

std::string processName(pid_t process) { return procText(process, "comm"); }

std::string userName(uid_t user)
{
    const passwd* entry = getpwuid(user); // NOLINT(concurrency-mt-unsafe): one thread
    return entry ? entry->pw_name : std::to_string(user);
}

std::string userOf(pid_t process)
{
    struct stat status = {};
    return stat(folderOf(process).c_str(), &status) == 0 ? userName(status.st_uid) : "";
}

std::string procLink(pid_t process, const std::string& link)
{
    char target[4096];
    const ssize_t size = readlink((folderOf(process) + link).c_str(), target, sizeof target);
    return std::string(target, static_cast<size_t>(std::max<ssize_t>(size, 0)));
}

std::optional<std::vector<Mapping>> mappingsOf(pid_t process)
{
    std::vector<Mapping> mappings;
    errno = 0;
    std::ifstream file(folderOf(process) + "maps");
    if (!file)
        return errno == EACCES || errno == EPERM ? std::nullopt : std::optional(mappings);
    for (std::string line; std::getline(file, line);)
        if (std::optional<Mapping> mapping = parseMapping(line))
            mappings.push_back(*std::move(mapping));
    return mappings;
}
