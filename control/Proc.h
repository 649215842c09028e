#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What /proc says of the machine's processes, read anew at each call. A process may end while it is looked at, and
/// some of it is for root and its own user alone: what can't be had is empty, or missing where a difference is made.

/// All processes, or the threads of one, by their numbers.
std::vector<pid_t> processes();
std::vector<pid_t> threadsOf(pid_t process);

/// What /proc puts behind the path of a file that no name leads to any more.
inline constexpr std::string_view deletedMark = " (deleted)";

/// A file of a process's folder, such as "comm" or "task/17/syscall". Without its last line feed.
std::string procText(pid_t process, const std::string& file);

/// A field of "status", such as "Tgid".
std::string statusField(pid_t process, std::string_view field);

/// Whether a signal has stopped it: it goes on with nothing until it is continued.
bool isStopped(pid_t process);

std::string processName(pid_t process);
/// Its name, or its number if it has none.
std::string userName(uid_t user);
std::string userOf(pid_t process);

/// Where a link of its folder leads to, such as "exe" or "fd/0".
std::string procLink(pid_t process, const std::string& link);

/// Tells a file from all others.
struct FileId
{
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileId&) const = default;
};

/// A stretch of a process's memory that shows a file.
struct Mapping
{
    uint64_t begin;
    uint64_t end;
    FileId file;
    std::string path; ///< As it was when it was mapped.
    bool deleted;     ///< No name leads to the file any more.
};

/// Nothing if looking is not allowed.
std::optional<std::vector<Mapping>> mappingsOf(pid_t process);
