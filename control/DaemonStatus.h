#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "control/Proc.h"

/// What a daemon that runs shows of itself to others.
struct DaemonStatus
{
    /// What its memory maps tell; they are for root and the daemon's own user.
    struct Maps
    {
        std::string libraryPath; ///< The device library's file; empty if none is mapped.
        bool libraryReplaced = false;
        std::optional<Mapping> segment; ///< Of the shared mutex.
    };

    pid_t pid = 0;
    std::string user;
    std::time_t since = 0;
    std::string terminal; ///< Empty in the background.
    std::string service;  ///< The unit of that name that it runs as, if any.
    bool stopped = false; ///< By a signal.
    bool programReplaced = false;
    size_t listeners = 0;
    size_t groupThreads = 0;
    std::optional<Maps> maps;
    std::optional<size_t> waiting; ///< Threads that wait for the shared mutex; told to root alone.

    /// Where a device library stands that the daemon could have loaded, in the order in which it looks.
    std::vector<std::string> libraries;
};

/// All that run on this machine and share its /dev/shm: one in a container that has its own is none of these.
std::vector<DaemonStatus> findDaemons();
