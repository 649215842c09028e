#pragma once

#include <stdexcept>
#include <string>

/// Ends a command: the message for its user, without the program's name and without a full stop, and the exit status.
class CommandError : public std::runtime_error
{
public:
    explicit CommandError(const std::string& message, int status = 1);

    const int status;
};

/// The error of a system call that has just failed: what was tried, and the system's own words from errno.
CommandError systemError(const std::string& what);
