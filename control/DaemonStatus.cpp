#include "control/DaemonStatus.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "control/SegmentState.h"

namespace
{

const std::string daemonName = "OstrivaneHelper";
const std::string libraryName = "libTessarigAPI.so";

/// Where the system's loader looks without being told.
const char* const systemFolders[] = {
    "/usr/local/lib", "/lib/x86_64-linux-gnu", "/usr/lib/x86_64-linux-gnu", "/lib64", "/usr/lib64", "/lib", "/usr/lib"};

std::string programOf(pid_t process)
{
    std::string path = procLink(process, "exe");
    if (path.ends_with(deletedMark))
        path.resize(path.size() - deletedMark.size());
    return path;
}

bool sharesMemoryFolder(pid_t process)
{
    struct stat ours = {}, theirs = {};
    const std::string folder = "/proc/" + std::to_string(process) + "/root/dev/shm";
    if (stat("/dev/shm", &ours) == 0 && stat(folder.c_str(), &theirs) == 0)
        return ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
    // Not allowed to look: what has a pid namespace of its own, and so a second number, runs in a container.
    return statusField(process, "NSpid").find('\t') == std::string::npos;
}

bool isReplaced(const Mapping& mapping)
{
    struct stat status = {};
    return mapping.deleted || stat(mapping.path.c_str(), &status) != 0 || status.st_ino != mapping.file.inode;
}

std::optional<DaemonStatus::Maps> readMaps(pid_t process)
{
    const auto mappings = mappingsOf(process);
    if (!mappings)
        return std::nullopt;
    DaemonStatus::Maps maps;
    for (const Mapping& mapping : *mappings)
        if (mapping.path == SegmentState::path)
            maps.segment = mapping;
        else if (std::filesystem::path(mapping.path).filename() == libraryName && maps.libraryPath.empty())
        {
            maps.libraryPath = mapping.path;
            maps.libraryReplaced = isReplaced(mapping);
        }
    return maps;
}

/// Not by the folder's owner: that is root for each process that others may not look into.
bool belongsToRoot(pid_t process) { return statusField(process, "Uid").starts_with("0\t"); }

bool mapsWhatDaemonsMap(pid_t process)
{
    const auto maps = readMaps(process);
    return maps && (maps->segment || !maps->libraryPath.empty());
}

/// The name alone tells little, as anybody may give it to a program.
bool isDaemon(pid_t process)
{
    const std::string program = programOf(process);
    const bool named =
        program.empty() ? processName(process) == daemonName : std::filesystem::path(program).filename() == daemonName;
    return named && !statusField(process, "State").starts_with('Z') && sharesMemoryFolder(process) &&
           (belongsToRoot(process) || mapsWhatDaemonsMap(process));
}

/// Fields of "stat" from the third on: the second is a name in brackets and may hold anything.
std::vector<std::string> statFields(pid_t process)
{
    const std::string text = procText(process, "stat");
    std::istringstream stream(text.substr(std::min(text.rfind(')') + 1, text.size())));
    return {std::istream_iterator<std::string>(stream), {}};
}

std::time_t bootTime()
{
    std::ifstream file("/proc/stat");
    for (std::string word; file >> word;)
        if (std::time_t time = 0; word == "btime" && file >> time)
            return time;
    return 0;
}

/// "pts/3" or another name; empty without a terminal.
std::string terminalOf(int number)
{
    constexpr int firstPseudo = 136, lastPseudo = 143;
    const int major = (number >> 8) & 0xFFF;
    const int minor = (number & 0xFF) | ((number >> 12) & 0xFFF00);
    if (number == 0)
        return {};
    if (major >= firstPseudo && major <= lastPseudo)
        return "pts/" + std::to_string((major - firstPseudo) * 256 + minor);
    return "tty" + std::to_string(minor);
}

void readOrigin(DaemonStatus& daemon)
{
    constexpr size_t terminalField = 4, startField = 19;
    const std::vector<std::string> fields = statFields(daemon.pid);
    if (fields.size() > startField)
    {
        daemon.since = bootTime() + std::stoll(fields[startField]) / sysconf(_SC_CLK_TCK);
        daemon.terminal = terminalOf(std::stoi(fields[terminalField]));
    }
    const std::string unit = std::filesystem::path(procText(daemon.pid, "cgroup")).filename();
    if (unit.starts_with("ostrivane-helper") && unit.ends_with(".service"))
        daemon.service = unit;
}

/// Whether a thread waits for what lies in the mapping: "202 0x7f00 ..." is futex() and its first argument. Nothing if
/// looking is not allowed.
std::optional<bool> waitsFor(pid_t thread, const Mapping& mapping)
{
    std::istringstream call(procText(thread, "syscall"));
    std::string number;
    if (!(call >> number))
        return std::nullopt;
    uint64_t address = 0;
    return number == std::to_string(SYS_futex) && call >> std::hex >> address && address >= mapping.begin &&
           address < mapping.end;
}

void readThreads(DaemonStatus& daemon)
{
    const bool shares = daemon.maps && daemon.maps->segment;
    if (daemon.maps)
        daemon.waiting = 0;
    for (const pid_t thread : threadsOf(daemon.pid))
    {
        const std::string name = processName(thread);
        daemon.listeners += name == "listener";
        daemon.groupThreads += name.starts_with("group ");
        const auto waits = shares ? waitsFor(thread, *daemon.maps->segment) : false;
        if (!waits && !name.empty())
            daemon.waiting.reset();
        else if (daemon.waiting && waits.value_or(false))
            ++*daemon.waiting;
    }
}

std::vector<std::string> findLibraries(pid_t process)
{
    std::vector<std::string> folders;
    std::istringstream variables(procText(process, "environ"));
    for (std::string variable; std::getline(variables, variable, '\0');)
        if (const std::string start = "LD_LIBRARY_PATH="; variable.starts_with(start))
        {
            std::istringstream paths(variable.substr(start.size()));
            for (std::string path; std::getline(paths, path, ':');)
                folders.push_back(path);
        }
    folders.push_back(std::filesystem::path(programOf(process)).parent_path());
    folders.insert(folders.end(), std::begin(systemFolders), std::end(systemFolders));

    std::vector<std::string> found;
    for (const std::string& folder : folders)
        if (const auto path = std::filesystem::path(folder) / libraryName;
            !folder.empty() && access(path.c_str(), F_OK) == 0)
            found.push_back(path);
    return found;
}

DaemonStatus lookAt(pid_t process)
{
    DaemonStatus daemon;
    daemon.pid = process;
    daemon.user = userOf(process);
    daemon.stopped = isStopped(process);
    daemon.programReplaced = procLink(process, "exe").ends_with(deletedMark);
    readOrigin(daemon);
    daemon.maps = readMaps(process);
    readThreads(daemon);
    if (daemon.maps && daemon.maps->libraryPath.empty())
        daemon.libraries = findLibraries(process);
    return daemon;
}

}

std::vector<DaemonStatus> findDaemons()
{
    std::vector<DaemonStatus> daemons;
    for (const pid_t process : processes())
        if (isDaemon(process))
            daemons.push_back(lookAt(process));
    return daemons;
}
