#include "control/MutexHolder.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "control/VisibleText.h"

namespace
{

/// Nothing without the right to look.
std::optional<bool> maps(pid_t process, const FileId& file)
{
    const auto mappings = mappingsOf(process);
    if (!mappings)
        return std::nullopt;
    return std::any_of(mappings->begin(), mappings->end(), [&](const Mapping& m) { return m.file == file; });
}

/// The number that the thread itself knows: that of the innermost pid namespace, which stands last.
pid_t ownNumber(pid_t thread)
{
    const std::string numbers = statusField(thread, "NSpid");
    const size_t last = numbers.rfind('\t');
    return numbers.empty() ? thread : std::stoi(last == std::string::npos ? numbers : numbers.substr(last + 1));
}

/// The process of a thread that has this number here; 0 if there is none.
pid_t processOf(pid_t thread)
{
    const std::string process = statusField(thread, "Tgid");
    return process.empty() || ownNumber(thread) != thread ? 0 : std::stoi(process);
}

bool hasThread(pid_t process, pid_t thread)
{
    const std::vector<pid_t> threads = threadsOf(process);
    return std::any_of(threads.begin(), threads.end(), [&](pid_t task) { return ownNumber(task) == thread; });
}

bool hasOtherNumber(pid_t process) { return ownNumber(process) != process; }

bool isUsed(const FileId& segment)
{
    const std::vector<pid_t> all = processes();
    return std::any_of(all.begin(), all.end(),
                       [&](pid_t process) { return process != getpid() && maps(process, segment).value_or(false); });
}

/// Whether a process that is not seen is not there: /proc hides none, and this is the machine's own pid namespace or
/// the one of others who use the segment.
bool seesAllUsers(const FileId& segment)
{
    std::error_code error;
    return !statusField(1, "Tgid").empty() &&
           (std::filesystem::read_symlink("/proc/self/ns/pid", error) == "pid:[4026531836]" || isUsed(segment));
}

/// The process of that thread, which uses the segment or may do so; 0 if none is seen.
pid_t processThatHolds(pid_t thread, const FileId& segment)
{
    const pid_t self = getpid(); // it asks because it does not hold the mutex
    const pid_t direct = processOf(thread);
    if (direct != 0 && direct != self && maps(direct, segment).value_or(true))
        return direct;
    for (const pid_t process : processes()) // it may live in another pid namespace
        if (process != self && maps(process, segment).value_or(hasOtherNumber(process)) && hasThread(process, thread))
            return process;
    return 0;
}

}

MutexHolder findHolder(pid_t thread, const FileId& segment)
{
    MutexHolder holder;
    holder.thread = thread;
    if (thread <= 0)
        return holder;
    holder.process = processThatHolds(thread, segment);
    if (holder.process == 0)
        holder.gone = seesAllUsers(segment);
    else
    {
        holder.certain = maps(holder.process, segment).value_or(false);
        holder.stopped = isStopped(holder.process);
        holder.name = processName(holder.process);
        holder.user = userOf(holder.process);
    }
    return holder;
}

std::string describe(const MutexHolder& holder)
{
    if (holder.process == 0)
        return "thread " + std::to_string(holder.thread) + ", which is not seen from here and perhaps gone";
    return visible(holder.name) + " (pid " + std::to_string(holder.process) + ", user " + holder.user +
           (holder.stopped ? ", stopped" : "") + (holder.certain ? ")" : ", to judge by its number alone)");
}
