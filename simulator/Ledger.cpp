#include "simulator/Ledger.h"

#include <numeric>

void Ledger::add(const std::string& holder)
{
    const std::lock_guard lock(mutex);
    ++held[holder];
}

void Ledger::remove(const std::string& holder)
{
    const std::lock_guard lock(mutex);
    const auto entry = held.find(holder);
    if (--entry->second == 0)
        held.erase(entry);
}

int64_t Ledger::total() const
{
    const std::lock_guard lock(mutex);
    return std::accumulate(held.begin(), held.end(), int64_t{0},
                           [](int64_t sum, const auto& entry) { return sum + entry.second; });
}

std::map<std::string, int64_t> Ledger::counts() const
{
    const std::lock_guard lock(mutex);
    return held;
}
