#pragma once

#include <optional>
#include <string>

/// The bytes of a regular file, read once from start to end. Nothing, with errno set, if the path can't be opened or
/// read, or is no regular file: EISDIR for a folder, EINVAL for a pipe or a device, which is never waited for. A file
/// that another process holds a lease on is waited for until that one, or the system, gives it up.
///
/// Stops behind the first NUL byte, which ends the text for whoever parses it: a file may have holes, and takes memory
/// only for what is read.
std::optional<std::string> readRegularFile(const std::string& path);
