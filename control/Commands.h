#pragma once

#include <CLI/CLI.hpp>

/// Each adds one command to the program, with its options and its help. The command runs while the program parses its
/// command line, leaves its exit status in `status`, and throws CommandError where it can't do its work.
void addStatus(CLI::App& program, int& status);
void addCheck(CLI::App& program, int& status);
void addList(CLI::App& program, int& status);
void addGet(CLI::App& program, int& status);
void addSet(CLI::App& program, int& status);
void addUnset(CLI::App& program, int& status);
void addEdit(CLI::App& program, int& status);
void addImport(CLI::App& program, int& status);
void addLock(CLI::App& program, int& status, char** command); ///< The words of what it runs, behind "--".
void addWatch(CLI::App& program, int& status);
