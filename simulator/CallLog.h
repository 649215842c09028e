#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// What one simulated object was asked, in order. Safe from any thread.
class CallLog
{
public:
    /// `label` names the interface that was called; `argument` may be empty.
    void add(const std::string& label, const std::string& operation, const std::string& argument);

    /// How often the operation was called, ever.
    int count(const std::string& operation) const;
    struct Call
    {
        uint64_t time; ///< Orders the calls of all objects.
        std::string text;
    };

    /// The calls as "label.Operation argument"; of a long history the last thousand.
    std::vector<std::string> lines() const;
    std::vector<Call> history() const;

private:
    mutable std::mutex mutex;
    std::deque<Call> recent;
    std::map<std::string, int> counts;
};
