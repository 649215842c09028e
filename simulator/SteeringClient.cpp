#include "simulator/SteeringClient.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "simulator/LineSocket.h"

namespace
{

/// A daemon that ends in order removes its socket, one that is killed leaves it.
std::string explain(const std::string& path, int number)
{
    std::error_code ignored;
    if (number == ECONNREFUSED && std::filesystem::is_socket(path, ignored))
        return "the daemon at " + path + " is gone";
    if (number == ECONNREFUSED)
        return "wrong path: " + path + " is no socket";
    if (number == ENOENT)
        return "wrong path, or no daemon on simulated cards runs: there is no socket at " + path;
    return "can't connect to " + path + ": " + strerror(number);
}

}

SteeringClient::SteeringClient(const std::string& socketPath) : path(socketPath)
{
    const auto address = addressOf(path);
    descriptor = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (address && connect(descriptor.get(), generic(*address), sizeof *address) == 0)
        return;
    error = explain(path, address ? errno : ENAMETOOLONG);
    descriptor = Descriptor();
}

std::string SteeringClient::ask(const std::string& line)
{
    std::string buffer;
    if (!descriptor)
        return {};
    const auto answer = writeLine(descriptor.get(), line) ? readLine(descriptor.get(), buffer) : std::nullopt;
    if (!answer)
        error = "the daemon at " + path + " is gone: it has ended before it answered";
    return answer.value_or("");
}
