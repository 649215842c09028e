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

/// What is told of the call by its narrowest name, or 0.
template <typename Value>
Value valueOf(const std::map<std::string, Value>& entries, const std::string& operation, const std::string& argument)
{
    for (const std::string& call : {operation + ":" + argument, operation})
        if (const auto entry = entries.find(call); entry != entries.end())
            return entry->second;
    return {};
}

}

void Faults::fail(const std::string& call, ResultCode code)
{
    const std::lock_guard lock(mutex);
    put(codes, call, code);
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

ResultCode Faults::answer(const std::string& operation, const std::string& argument) const
{
    std::unique_lock lock(mutex);
    const ResultCode code = valueOf(codes, operation, argument);
    const std::chrono::nanoseconds delay = valueOf(delays, operation, argument);
    const std::function<void()> action = valueOf(actions, operation, argument);
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
