#include "simulator/SteeringSocket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <optional>

#include "simulator/Commands.h"

namespace
{

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

/// Reads up to the next newline, which is dropped. Nothing at the end of the stream.
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

}

SteeringSocket::SteeringSocket(Simulator& simulator, const std::string& path) : simulator(simulator), path(path)
{
    const auto address = addressOf(path);
    listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    unlink(path.c_str());
    if (!address || bind(listener, generic(*address), sizeof *address) != 0 || listen(listener, SOMAXCONN) != 0)
    {
        fprintf(stderr, "simulator: no socket at %s: %s\n", path.c_str(), strerror(errno));
        return;
    }
    acceptor = std::thread([this] { accept(); });
}

SteeringSocket::~SteeringSocket()
{
    shutdown(listener, SHUT_RDWR);
    if (acceptor.joinable())
        acceptor.join();
    {
        const std::lock_guard lock(mutex);
        for (const Connection& connection : connections)
            if (!connection.ended)
                shutdown(connection.descriptor, SHUT_RDWR);
    }
    for (Connection& connection : connections)
        connection.thread.join();
    close(listener);
    unlink(path.c_str());
}

void SteeringSocket::accept()
{
    while (true)
    {
        const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0 && errno == ECONNABORTED)
            continue;
        if (descriptor < 0)
            return;
        removeEnded();
        const std::lock_guard lock(mutex);
        Connection& connection = connections.emplace_back();
        connection.descriptor = descriptor;
        connection.thread = std::thread([this, &connection] { serve(connection); });
    }
}

void SteeringSocket::serve(Connection& connection)
{
    int descriptor = -1;
    {
        const std::lock_guard lock(mutex); // its maker is done with it
        descriptor = connection.descriptor;
    }
    std::string buffer;
    while (const auto line = readLine(descriptor, buffer))
        if (!writeLine(descriptor, execute(simulator, *line)))
            break;

    const std::lock_guard lock(mutex);
    connection.ended = true;
    close(descriptor);
}

/// On the acceptor alone.
void SteeringSocket::removeEnded()
{
    std::list<Connection> ended;
    {
        const std::lock_guard lock(mutex);
        for (auto entry = connections.begin(); entry != connections.end();)
        {
            const auto next = std::next(entry);
            if (entry->ended)
                ended.splice(ended.end(), connections, entry);
            entry = next;
        }
    }
    for (Connection& connection : ended)
        connection.thread.join();
}

SteeringClient::SteeringClient(const std::string& path)
{
    const auto address = addressOf(path);
    descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (!address || connect(descriptor, generic(*address), sizeof *address) != 0)
    {
        close(descriptor);
        descriptor = -1;
    }
}

SteeringClient::~SteeringClient()
{
    if (descriptor >= 0)
        close(descriptor);
}

std::string SteeringClient::ask(const std::string& line)
{
    std::string buffer;
    if (descriptor < 0 || !writeLine(descriptor, line))
        return {};
    return readLine(descriptor, buffer).value_or("");
}
