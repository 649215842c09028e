#include "simulator/Faults.h"

#include <thread>

namespace
{

/// A value of 0 takes the entry away.
template <typename Value>
void put(std::map<std::string, Value>& entries, const std::string& call, Value value)
{
    if (value == Value{})
        entries.erase(call);
    else
        entries[call] = value;
}

/// The entry of the call's narrowest name, or the end.
template <typename Value>
auto find(std::map<std::string, Value>& entries, const std::string& operation, const std::string& argument)
{
    const auto narrow = entries.find(operation + ":" + argument);
    return narrow != entries.end() ? narrow : entries.find(operation);
}

}

void Faults::fail(const std::string& call, ResultCode code, uint64_t times)
{
    const std::lock_guard lock(mutex);
    put(failures, call, code == 0 ? Failure{} : Failure{code, times});
}

void Faults::slow(const std::string& call, std::chrono::nanoseconds time)
{
    const std::lock_guard lock(mutex);
    put(delays, call, time);
}

void Faults::interrupt(const std::string& call, std::function<void()> action)
{
    const std::lock_guard lock(mutex);
    actions[call] = std::move(action);
}

void Faults::absent(const std::string& interface)
{
    const std::lock_guard lock(mutex);
    absentInterfaces.insert(interface);
}

ResultCode Faults::answer(const std::string& operation, const std::string& argument)
{
    std::unique_lock lock(mutex);
    const auto valueOf = [&](auto& entries)
    {
        const auto entry = find(entries, operation, argument);
        return entry == entries.end() ? decltype(entry->second)() : entry->second;
    };
    const ResultCode code = valueOf(failures).code;
    if (const auto failure = find(failures, operation, argument);
        failure != failures.end() && --failure->second.left == 0)
        failures.erase(failure);
    const std::chrono::nanoseconds delay = valueOf(delays);
    const std::function<void()> action = valueOf(actions);
    lock.unlock();
    if (action)
        action();
    if (delay.count() > 0)
        std::this_thread::sleep_for(delay);
    return code;
}

bool Faults::isAbsent(const std::string& interface) const
{
    const std::lock_guard lock(mutex);
    return absentInterfaces.contains(interface);
}
