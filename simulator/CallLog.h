#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// What one simulated object was asked, in order. Safe from any thread.
class CallLog
{
public:
    /// `face` says through which of the object's interfaces the call came; `argument` may be empty.
    void add(const std::string& face, const std::string& operation, const std::string& argument);

    /// How often the operation was called, ever.
    int count(const std::string& operation) const;
    /// The calls as "face.Operation argument"; of a long history the last thousand.
    std::vector<std::string> lines() const;

private:
    mutable std::mutex mutex;
    std::deque<std::string> history;
    std::map<std::string, int> counts;
};
