#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "simulator/SteeringClient.h"

namespace
{

constexpr int refused = 1;
constexpr int unreachable = 2;

int run(SteeringClient& client, const std::string& line)
{
    const std::string answer = client.ask(line);
    if (answer.empty())
    {
        fprintf(stderr, "simctl: nobody answers at TESSARIG_SIMULATOR_SOCKET\n");
        return unreachable;
    }
    puts(answer.c_str());
    return answer.starts_with("ok") ? 0 : refused;
}

}

/// Says one command, or, without words, each line of standard input. The status is that of the worst answer.
int main(int argc, char* argv[])
{
    const char* path = getenv("TESSARIG_SIMULATOR_SOCKET");
    SteeringClient client(path ? path : "");
    std::string line;
    if (argc > 1)
    {
        for (int i = 1; i < argc; ++i)
            line += (i > 1 ? " " : "") + std::string(argv[i]);
        return run(client, line);
    }
    int worst = 0;
    while (worst != unreachable && std::getline(std::cin, line))
        worst = std::max(worst, run(client, line));
    return worst;
}
