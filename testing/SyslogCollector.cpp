#include "testing/SyslogCollector.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "testing/PrivateMachine.h"
#include "testing/Waiting.h"

namespace
{

/// Of <14>Nov 22 10:00:00 OstrivaneHelper[123]: text
std::string messageOf(const std::string& line)
{
    const int code = atoi(line.c_str() + 1);
    const bool ours = line.find(" OstrivaneHelper[") != std::string::npos && (code & ~7) == 8;
    return ours ? std::to_string(code & 7) + line.substr(line.find("]: ") + 2) : line;
}

}

SyslogCollector::SyslogCollector() : socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    requirePrivateMachine();
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    const timeval timeout = {maxWait.count(), 0};
    static_cast<void>(remove(address.sun_path)); // of the one before
    if (setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0 ||
        bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no place for /dev/log");
}

Lines SyslogCollector::take(size_t count) const
{
    Lines messages;
    char bytes[4096];
    const auto receive = [&]
    { return recv(socket.get(), bytes, sizeof bytes, messages.size() < count ? 0 : MSG_DONTWAIT); };
    for (ssize_t size = 0; (size = receive()) > 0;)
        messages.push_back(messageOf(std::string(bytes, static_cast<size_t>(size))));
    return messages;
}
