#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <string>
#include <utility>

#include "testing/Files.h"

/// A child of this process. Killed in the destructor, and when the thread that made it ends.
class Child
{
public:
    using Environment = std::map<std::string, std::string>;

    /// One that a fork or another child left to this process; -1, for the result of a fork that failed, is nobody.
    explicit Child(pid_t existing) : pid(existing) {}
    /// What it writes to stderr goes to `errors`, and what it writes to stdout to `output` if that is named.
    Child(const Lines& words, const std::string& errors, const Environment& environment = {},
          const std::string& output = {});
    Child(Child&& other) noexcept : pid(std::exchange(other.pid, -1)) {}
    ~Child();

    /// Exit status, or -1 if a signal ended it. One that is not done in time is killed.
    int wait();
    /// The status after it was asked to end.
    int stop(int signal = SIGTERM);

    pid_t pid;
};
