#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "preferences/Owner.h"

/// Waits for changes of one file, which is replaced more often than written to. Neither it nor its folders need be
/// there. Costs nothing while nothing changes beside the file and its folders.
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

    const std::string path;
    std::vector<std::string> places; ///< The file and all folders above it, from the root on.
    Descriptor events;
    struct stat last = {};
    bool looked = false;
};
