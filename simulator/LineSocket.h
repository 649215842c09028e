#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string>

// Lines over unix sockets, as both ends of the steering use them.

/// Nothing for a path that no socket can have.
std::optional<sockaddr_un> addressOf(const std::string& path);
const sockaddr* generic(const sockaddr_un& address);

/// Reads up to the next newline, which is dropped. Nothing at the end of the stream. `buffer` keeps what came behind
/// the line, for the next call.
std::optional<std::string> readLine(int descriptor, std::string& buffer);
/// False if the other end is gone.
bool writeLine(int descriptor, std::string line);
