#include "testing/ProcessCounters.h"

#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include "testing/Files.h"
#include "testing/Waiting.h"

namespace
{

std::filesystem::directory_iterator threadsOf(pid_t process)
{
    return std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task");
}

}

long contextSwitches(pid_t process)
{
    long sum = 0;
    for (const auto& thread : threadsOf(process))
    {
        const std::string status = contents(thread.path() / "status");
        for (size_t at = 0; (at = status.find("ctxt_switches:", at)) != std::string::npos;)
            sum += std::stol(status.substr(at += strlen("ctxt_switches:")));
    }
    return sum;
}

bool awaitIdle(pid_t process, long threads)
{
    long settled = -1;
    const auto moved = [&] { return std::exchange(settled, contextSwitches(process)) != settled; };
    return waitFor([&] { return std::distance(threadsOf(process), {}) >= threads; }) &&
           waitFor([&] { return !waitFor(moved, std::chrono::milliseconds(50)); });
}
