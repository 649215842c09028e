#include <latch>
#include <list>
#include <thread>

#include "benchmarks/Measure.h"
#include "benchmarks/Program.h"
#include "testing/TemporaryFolder.h"

// How long the daemon takes to start and to stop. On a private machine.
//
// The baseline of a start is the whole life of a process that maps the same libraries and does nothing. That of a stop
// with cards is the life of as many threads.

namespace
{

void measureStart(const Report& report, const SyslogCollector& syslog, const Lines& files, const std::string& with)
{
    const TemporaryFolder stage(files);
    Samples ours;
    Samples baseline;
    alternate(
        report.rounds(30, 2),
        [&]
        {
            const Clock::time_point begin = Clock::now();
            Program daemon(syslog, {stage / "OstrivaneHelper", "-n"}, 0);
            ours.push_back(secondsBetween(begin, Clock::now()));
            daemon.awaitIdle(1);
            daemon.stop();
        },
        [&]
        {
            const auto live = [&] { require(Child({stage / "bare_process"}, "/dev/null").wait() == 0, "a process"); };
            baseline.push_back(secondsOf(live));
        });
    report.compare("Start to \"Listening\", " + with, median(ours), median(baseline), Unit::Time, {Goal::AtMost, 1.5});
}

/// All are there at the same time, as the daemon's are.
void makeAndJoin(int count)
{
    std::latch all(count);
    std::list<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&] { all.arrive_and_wait(); });
    for (std::thread& thread : threads)
        thread.join();
}

void measureStop(const Report& report, const SyslogCollector& syslog)
{
    const TemporaryFolder stage({DAEMON_BINARY, BARE_LIBRARY});
    const int cards = report.rounds(1000, 50);
    Samples ours;
    Samples baseline;
    alternate(
        report.rounds(10, 1),
        [&]
        {
            Program daemon(syslog, {stage / "OstrivaneHelper", "-n"}, cards);
            daemon.awaitIdle(1 + cards);
            ours.push_back(secondsOf([&] { daemon.stop(); }));
        },
        [&] { baseline.push_back(secondsOf([&] { makeAndJoin(cards); })); });
    report.compare("SIGTERM to the end, " + std::to_string(cards) + " cards", median(ours), median(baseline),
                   Unit::Time, {Goal::AtMost, 2.0});
}

void measureAll(const Report& report)
{
    require(librariesOf(DAEMON_BINARY) == librariesOf(BARE_PROCESS), "the bare process links other libraries");
    const SyslogCollector syslog;
    measureStart(report, syslog, {DAEMON_BINARY, BARE_PROCESS}, "no library");
    measureStart(report, syslog, {DAEMON_BINARY, BARE_PROCESS, SIMULATOR_LIBRARY}, "simulator");
    measureStop(report, syslog);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
