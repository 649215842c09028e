#include <latch>
#include <list>
#include <thread>

#include "benchmarks/Measure.h"
#include "benchmarks/Processes.h"

// How long the daemon takes to start and to stop. On a machine of its own.
//
// The floor of a start, and of a stop without cards, is the whole life of a process that maps the same libraries and
// does nothing. That of a stop with cards is the life of as many threads.

namespace
{

const char* const listening = "Listening for";
const char* const stopped = "Stopped listening";

double secondsOfProcess(const std::string& program)
{
    return secondsOf(
        [&]
        {
            Process process({program});
            process.wait();
        });
}

struct Times
{
    Samples start;
    Samples stop;
};

/// Starts the daemon and stops it again once its library's threads and the cards' are there and all is quiet.
void sampleDaemon(const Stage& stage, const SyslogSocket& syslog, int libraryThreads, int cards, Times& times)
{
    const Clock::time_point begin = Clock::now();
    Process daemon({stage / "OstrivaneHelper", "-n"}, {{"BARE_LIBRARY_CARDS", std::to_string(cards)}});
    syslog.await(listening);
    times.start.push_back(secondsBetween(begin, Clock::now()));
    daemon.awaitIdle(1 + libraryThreads + cards);
    times.stop.push_back(secondsOf(
        [&]
        {
            daemon.terminate();
            daemon.wait();
        }));
    syslog.await(stopped);
}

void measureBare(const Report& report, const SyslogSocket& syslog, const std::vector<std::string>& files,
                 const std::string& with, int libraryThreads)
{
    const Stage stage(files);
    Times ours;
    Samples floor;
    alternate(
        report.rounds(30, 2), [&] { sampleDaemon(stage, syslog, libraryThreads, 0, ours); },
        [&] { floor.push_back(secondsOfProcess(stage / "bare_process")); });
    report.compare("Start to \"Listening\", " + with, median(ours.start), median(floor), Unit::Time,
                   {Goal::AtMost, 1.5});
    report.compare("SIGTERM to the end, no cards, " + with, median(ours.stop), median(floor), Unit::Time,
                   {Goal::AtMost, 1.5});
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

void measureStopWithCards(const Report& report, const SyslogSocket& syslog)
{
    const Stage stage({DAEMON_BINARY, BARE_LIBRARY});
    const int cards = report.rounds(1000, 50);
    Times ours;
    Samples floor;
    alternate(
        report.rounds(10, 1), [&] { sampleDaemon(stage, syslog, 0, cards, ours); },
        [&] { floor.push_back(secondsOf([&] { makeAndJoin(cards); })); });
    report.compare("SIGTERM to the end, " + std::to_string(cards) + " cards", median(ours.stop), median(floor),
                   Unit::Time, {Goal::AtMost, 2.0});
}

/// The most that a package could win that brought the two libraries inside the executable.
void measureLinking(const Report& report)
{
    const Stage all({BARE_PROCESS});
    const Stage fewer({LEAN_PROCESS});
    Samples ours;
    Samples floor;
    alternate(
        report.rounds(30, 2), [&] { ours.push_back(secondsOfProcess(all / "bare_process")); },
        [&] { floor.push_back(secondsOfProcess(fewer / "lean_process")); });
    report.compare("Life of an empty process; floor: without tinyxml and boost", median(ours), median(floor),
                   Unit::Time, {});
}

void measureAll(const Report& report)
{
    require(librariesOf(DAEMON_BINARY) == librariesOf(BARE_PROCESS), "the bare process links other libraries");
    const SyslogSocket syslog;
    measureBare(report, syslog, {DAEMON_BINARY, BARE_PROCESS}, "no library", 0);
    measureBare(report, syslog, {DAEMON_BINARY, BARE_PROCESS, SIMULATOR_LIBRARY}, "simulator", 2);
    measureStopWithCards(report, syslog);
    measureLinking(report);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
