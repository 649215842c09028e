#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <memory>

#include "control/CommandError.h"
#include "control/Commands.h"
#include "control/Guardian.h"
#include "control/Timeout.h"

namespace
{

constexpr int usageError = 2;

// As shells and their like have it.
constexpr int notFound = 127;
constexpr int notExecutable = 126;

/// Becomes the command, so that signals, the terminal and the status are the command's own.
void runLocked(char** command, std::chrono::milliseconds timeout)
{
    if (!*command)
        throw CommandError("lock: the command is missing, as in: ostrivanectl lock -- cp FILE1 FILE2", usageError);
    if (!holdPreferenceLock(timeout))
        std::cerr << "ostrivanectl: no daemon runs, so there is no shared mutex: the command runs without it\n";
    execvp(*command, command);
    const int status = errno == ENOENT ? notFound : notExecutable;
    throw CommandError(systemError(std::string("can't run ") + *command).what(), status);
}

}

void addLock(CLI::App& program, int&, char** command)
{
    CLI::App* const lock = program.add_subcommand(
        "lock", "Runs a command while the shared mutex is held, so that no card saves meanwhile. Its status is the "
                "command's.");
    lock->footer("The command stands behind \"--\", as in: ostrivanectl lock -- cp FILE1 FILE2");
    const auto timeout = std::make_shared<std::chrono::milliseconds>(defaultTimeout);
    addTimeout(*lock, *timeout);
    lock->callback([command, timeout] { runLocked(command, *timeout); });
}
