#include "simulator/SteeringSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "simulator/Commands.h"
#include "simulator/LineSocket.h"

SteeringSocket::SteeringSocket(Simulator& steered, const std::string& place) : simulator(steered), path(place)
{
    const auto address = addressOf(path);
    if (!address)
    {
        fprintf(stderr, "simulator: no socket at %s: the path is empty or too long\n", path.c_str());
        return;
    }
    listener = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    fchmod(listener.get(), 0600); // becomes the path's mode: the daemon clears its umask
    unlink(path.c_str());
    if (bind(listener.get(), generic(*address), sizeof *address) != 0 || listen(listener.get(), SOMAXCONN) != 0)
    {
        fprintf(stderr, "simulator: no socket at %s: %s\n", path.c_str(), strerror(errno));
        return;
    }
    acceptor = std::thread([this] { accept(); });
}

SteeringSocket::~SteeringSocket()
{
    shutdown(listener.get(), SHUT_RDWR);
    if (acceptor.joinable())
    {
        acceptor.join();
        unlink(path.c_str());
    }
    {
        const std::lock_guard lock(mutex);
        for (const Connection& connection : connections)
            if (!connection.ended)
                shutdown(connection.descriptor.get(), SHUT_RDWR);
    }
    for (Connection& connection : connections)
        connection.thread.join();
}

void SteeringSocket::accept()
{
    while (true)
    {
        Descriptor descriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!descriptor && errno == EINVAL)
            return; // shut down
        removeEnded();
        if (!descriptor)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10)); // until there are descriptors again
            continue;
        }
        const std::lock_guard lock(mutex);
        Connection& connection = connections.emplace_back();
        connection.descriptor = std::move(descriptor);
        try
        {
            connection.thread = std::thread([this, &connection] { serve(connection); });
        }
        catch (const std::system_error&)
        {
            connections.pop_back(); // no thread to be had: who connected may try again
        }
    }
}

void SteeringSocket::serve(Connection& connection)
{
    int descriptor = -1;
    {
        const std::lock_guard lock(mutex); // its maker is done with it
        descriptor = connection.descriptor.get();
    }
    std::string buffer;
    while (const auto line = readLine(descriptor, buffer))
        if (!writeLine(descriptor, execute(simulator, *line)))
            break;

    const std::lock_guard lock(mutex);
    connection.ended = true;
    connection.descriptor = Descriptor();
}

/// On the acceptor alone. A thread that has said that it ended needs the mutex no more.
void SteeringSocket::removeEnded()
{
    const std::lock_guard lock(mutex);
    connections.remove_if(
        [](Connection& connection)
        {
            if (connection.ended)
                connection.thread.join();
            return connection.ended;
        });
}
