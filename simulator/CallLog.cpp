#include "simulator/CallLog.h"

namespace
{

constexpr size_t longestHistory = 1000;

}

void CallLog::add(const std::string& face, const std::string& operation, const std::string& argument)
{
    std::string line = face + "." + operation;
    if (!argument.empty())
        line += " " + argument;

    const std::lock_guard lock(mutex);
    ++counts[operation];
    history.push_back(std::move(line));
    if (history.size() > longestHistory)
        history.pop_front();
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
    return {history.begin(), history.end()};
}
