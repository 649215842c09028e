#include "control/MutexHolder.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "control/VisibleText.h"

namespace
{

/// Whether the process maps the file; without the right to look, what is assumed.
bool maps(pid_t process, const FileId& file, bool assumed)
{
    const auto mappings = mappingsOf(process);
    return mappings ? std::any_of(mappings->begin(), mappings->end(), [&](const Mapping& m) { return m.file == file; })
                    : assumed;
}

/// The number that the thread itself knows: that of the innermost pid namespace, which stands last.
pid_t ownNumber(pid_t process, pid_t thread)
{
    const std::string numbers = statusField(process, "NSpid");
    const size_t last = numbers.rfind('\t');
    return numbers.empty() ? thread : std::stoi(last == std::string::npos ? numbers : numbers.substr(last + 1));
}

/// The process of a thread that has this number here; 0 if there is none.
pid_t processOf(pid_t thread)
{
    const std::string process = statusField(thread, "Tgid");
    return process.empty() || ownNumber(thread, thread) != thread ? 0 : std::stoi(process);
}

bool hasThread(pid_t process, pid_t thread)
{
    const std::vector<pid_t> threads = threadsOf(process);
    return std::any_of(threads.begin(), threads.end(), [&](pid_t task) { return ownNumber(task, task) == thread; });
}

/// Whether the system hides a living thread of that number from this user.
bool isHidden(pid_t thread) { return statusField(thread, "Tgid").empty() && kill(thread, 0) != 0 && errno == EPERM; }

/// Whether this process sees those that may hold the segment: all of the machine, or one that uses it.
bool seesUsersOf(const FileId& segment)
{
    std::error_code error;
    if (std::filesystem::read_symlink("/proc/self/ns/pid", error) == "pid:[4026531836]") // the machine's own namespace
        return true;
    const std::vector<pid_t> all = processes();
    return std::any_of(all.begin(), all.end(),
                       [&](pid_t process) { return process != getpid() && maps(process, segment, false); });
}

}

MutexHolder findHolder(pid_t thread, const FileId& segment)
{
    MutexHolder holder;
    holder.thread = thread;
    const pid_t self = getpid(); // it asks because it does not hold the mutex
    const pid_t direct = thread > 0 ? processOf(thread) : 0;
    if (direct != 0 && direct != self && maps(direct, segment, true))
        holder.process = direct;
    else // it may live in another pid namespace
        for (const pid_t process : processes())
            if (process != self && maps(process, segment, false) && hasThread(process, thread))
                holder.process = process;
    if (holder.process != 0)
    {
        holder.name = processName(holder.process);
        holder.user = userOf(holder.process);
    }
    else
        holder.gone = thread > 0 && !isHidden(thread) && seesUsersOf(segment);
    return holder;
}

std::string describe(const MutexHolder& holder)
{
    if (holder.process == 0)
        return "thread " + std::to_string(holder.thread) + ", whose process is not seen from here";
    return visible(holder.name) + " (pid " + std::to_string(holder.process) + ", user " + holder.user + ")";
}
