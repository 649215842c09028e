#include "simulator/LineSocket.h"

#include <cstring>

std::optional<sockaddr_un> addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return std::nullopt;
    memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

std::optional<std::string> readLine(int descriptor, std::string& buffer)
{
    while (true)
    {
        if (const size_t end = buffer.find('\n'); end != std::string::npos)
        {
            std::string line = buffer.substr(0, end);
            buffer.erase(0, end + 1);
            return line;
        }
        char bytes[4096];
        const ssize_t count = recv(descriptor, bytes, sizeof bytes, 0);
        if (count <= 0)
            return std::nullopt;
        buffer.append(bytes, static_cast<size_t>(count));
    }
}

bool writeLine(int descriptor, std::string line)
{
    line += '\n';
    for (size_t sent = 0; sent < line.size();)
    {
        const ssize_t count = send(descriptor, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}
