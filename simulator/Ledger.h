#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

/// Counts the references that the other side of the boundary holds, by the name of what it holds. Any thread.
class Ledger
{
public:
    void add(const std::string& holder);
    /// Only what was added before.
    void remove(const std::string& holder);

    int64_t total() const;
    /// Only names with a count above 0.
    std::map<std::string, int64_t> counts() const;

private:
    mutable std::mutex mutex;
    std::map<std::string, int64_t> held;
};
