#pragma once

#include <string>

#include "control/Timeout.h"

// Options and words that several commands have, so that they are called and explained alike.

/// Which preference file a command works on: the machine's unless its options say otherwise.
struct FileChoice
{
    bool user = false;
    std::string path;

    /// Throws CommandError if the user's file is wanted and HOME is not set.
    std::string chosen() const;
};

/// The options of commands that read a file and change none.
struct ReadOptions
{
    void addFileTo(CLI::App& command);
    void addJsonTo(CLI::App& command, const std::string& description);

    FileChoice file;
    bool json = false;
};

/// The options of commands that change the file.
struct ChangeOptions
{
    void addTo(CLI::App& command);

    FileChoice file;
    std::chrono::milliseconds timeout = defaultTimeout; ///< For the shared mutex.
};

/// Makes an empty word for the option a mistake in the command line.
CLI::Option* refuseEmpty(CLI::Option* option);

CLI::Option* addKey(CLI::App& command, std::string& key);
CLI::Option* addName(CLI::App& command, std::string& name);
