#include "benchmarks/Program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "benchmarks/Measure.h"
#include "testing/ProcessCounters.h"
#include "testing/TemporaryFolder.h"

Program::Program(const SyslogCollector& collector, const Lines& words, int cards)
    : child(words, "/dev/null", {{"BARE_LIBRARY_CARDS", std::to_string(cards)}}), syslog(collector)
{
    require(syslog.take(1).size() == 1, words.front() + " is not ready");
}

void Program::awaitIdle(long threads) const
{
    require(::awaitIdle(child.pid, threads), "a process does not come to rest with its threads");
}

double Program::memory(const std::string& line) const
{
    std::ifstream rollup("/proc/" + std::to_string(child.pid) + "/smaps_rollup");
    double sum = 0;
    for (std::string text; std::getline(rollup, text);)
        if (text.starts_with(line))
            sum += 1024 * atof(text.c_str() + text.find(':') + 1);
    require(sum > 0, "no memory in lines " + line);
    return sum;
}

void Program::stop()
{
    require(child.stop() == 0, "a process failed");
    static_cast<void>(syslog.take(0)); // what the daemon says at its end
}

Lines librariesOf(const std::string& program)
{
    const TemporaryFolder folder;
    Child linker({program}, "/dev/null", {{"LD_TRACE_LOADED_OBJECTS", "1"}}, folder / "libraries");
    require(linker.wait() == 0, "asking the dynamic linker");
    std::istringstream lines(contents(folder / "libraries"));
    Lines names;
    for (std::string line; std::getline(lines, line);)
        std::istringstream(line) >> names.emplace_back();
    require(!names.empty(), "the libraries of " + program);
    std::sort(names.begin(), names.end());
    return names;
}
