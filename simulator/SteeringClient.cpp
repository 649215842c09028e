#include "simulator/SteeringClient.h"

#include <sys/socket.h>
#include <unistd.h>

#include "simulator/LineSocket.h"

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
