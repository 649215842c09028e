#include "simulator/Faults.h"

#include <thread>

void Faults::fail(const std::string& call, ResultCode code)
{
    const std::lock_guard lock(mutex);
    faults[call].code = code;
}

void Faults::slow(const std::string& call, std::chrono::nanoseconds time)
{
    const std::lock_guard lock(mutex);
    faults[call].delay = time;
}

void Faults::absent(const std::string& interface)
{
    const std::lock_guard lock(mutex);
    absentInterfaces.insert(interface);
}

ResultCode Faults::answer(const std::string& operation, const std::string& argument) const
{
    const Fault fault = find(operation, argument);
    if (fault.delay.count() > 0)
        std::this_thread::sleep_for(fault.delay);
    return fault.code;
}

bool Faults::isAbsent(const std::string& interface) const
{
    const std::lock_guard lock(mutex);
    return absentInterfaces.contains(interface);
}

Faults::Fault Faults::find(const std::string& operation, const std::string& argument) const
{
    const std::lock_guard lock(mutex);
    for (const std::string& call : {operation + ":" + argument, operation})
        if (const auto entry = faults.find(call); entry != faults.end())
            return entry->second;
    return {};
}
