#pragma once

#include <sys/stat.h>

#include <string>

#include "preferences/Owner.h"

/// Waits for changes of one file, which is replaced more often than written to. Neither it nor its folders need be
/// there, and each may be a symbolic link, also to what is not there. Costs nothing while nothing changes beside the
/// file, its folders and what links lead through.
class FileWatch
{
public:
    /// Throws CommandError, as the operations do.
    explicit FileWatch(std::string path);

    /// Whether there may be another content than at the last call, which the first call always says. What changes from
    /// here on ends the next wait.
    bool changed();

    /// Waits until something has happened to the file, its folders or what stands beside them. False once nobody reads
    /// the other end of `output` any more.
    bool wait(int output);

private:
    void arm();
    void watch(const std::string& place);

    const std::string path;
    Descriptor events;
    struct stat last = {};
    bool settled = false; ///< A change after the last look gives the file another time than that look found.
};
