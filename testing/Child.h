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

    /// One that another child left to this process, or what a fork has just returned. Throws std::system_error if that
    /// fork failed.
    explicit Child(pid_t existing);
    /// What it writes to stderr goes to `errors`, and what it writes to stdout to `output` if that is named. Throws
    /// std::system_error if no process can be made.
    Child(const Lines& words, const std::string& errors, const Environment& environment = {},
          const std::string& output = {});
    Child(Child&& other) noexcept : pid(std::exchange(other.pid, -1)) {}
    ~Child();

    /// Exit status, or -1 if a signal ended it, or from the second call on. One that is not done in time is killed.
    int wait();
    /// The status after it was asked to end.
    int stop(int signal = SIGTERM);

    pid_t pid; ///< -1 once it has been waited for, which kill() would take for all processes.
};
