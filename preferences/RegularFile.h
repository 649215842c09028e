#pragma once

#include <optional>
#include <string>

inline namespace ostrivane
{

/// Reads a regular file once, from start to end. Empty, with errno set, if it can't be opened or read or is no regular
/// file: EISDIR for a folder, EINVAL for a pipe or a device, which is never waited for. A file under another process's
/// lease is waited for until that process gives the lease up or the kernel breaks it.
///
/// Stops behind the first NUL byte, which ends the text for its parser: so a file with holes takes memory only for what
/// stands before the first.
std::optional<std::string> readRegularFile(const std::string& path);

}
