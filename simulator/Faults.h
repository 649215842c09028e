#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "deviceapi/Unknown.h"

/// How one simulated object misbehaves. May be told before the object is there. Any thread.
///
/// A call is named by its operation, or, to tell its uses apart, by operation and argument: "Subscribe" or
/// "Subscribe:hwic". The narrower name goes first, for the code and for the time each by itself.
class Faults
{
public:
    /// The call has no effect and answers with the code; 0 ends that, and so does the last of so many `times`.
    void fail(const std::string& call, ResultCode code, uint64_t times = UINT64_MAX);
    /// The call takes this much longer; 0 ends that.
    void slow(const std::string& call, std::chrono::nanoseconds time);
    /// The call carries this out on its thread before anything else: it may throw, or end the thread.
    void interrupt(const std::string& call, std::function<void()> action);
    /// A query for the interface finds nothing.
    void absent(const std::string& interface);

    /// Waits as long as the call is slow, and gives the code that it has to answer with.
    ResultCode answer(const std::string& operation, const std::string& argument);
    bool isAbsent(const std::string& interface) const;

private:
    struct Failure
    {
        ResultCode code = 0;
        uint64_t left = 0; ///< So many calls fail.

        bool operator==(const Failure&) const = default;
    };

    mutable std::mutex mutex;
    std::map<std::string, Failure> failures;
    std::map<std::string, std::chrono::nanoseconds> delays;
    std::map<std::string, std::function<void()>> actions;
    std::set<std::string> absentInterfaces;
};
