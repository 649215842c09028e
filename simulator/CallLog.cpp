#include "simulator/CallLog.h"

#include <atomic>
#include <utility>

namespace
{

constexpr size_t maxHistory = 1000;

std::atomic<uint64_t> clockOfCalls = 0;

}

void CallLog::add(const std::string& label, const std::string& operation, const std::string& argument)
{
    std::string line = label + "." + operation;
    if (!argument.empty())
        line += " " + argument;

    const std::lock_guard lock(mutex);
    ++counts[operation];
    recent.push_back({++clockOfCalls, std::move(line)});
    if (recent.size() > maxHistory)
        recent.pop_front();
}

int CallLog::count(const std::string& operation) const
{
    const std::lock_guard lock(mutex);
    const auto entry = counts.find(operation);
    return entry == counts.end() ? 0 : entry->second;
}

std::vector<std::string> CallLog::lines() const
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const Call& call : recent)
        texts.push_back(call.text);
    return texts;
}

std::vector<CallLog::Call> CallLog::history() const
{
    const std::lock_guard lock(mutex);
    return {recent.begin(), recent.end()};
}
