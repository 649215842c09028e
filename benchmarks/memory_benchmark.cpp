#include <filesystem>
#include <memory>
#include <thread>

#include "benchmarks/Measure.h"
#include "benchmarks/PreferenceFiles.h"
#include "benchmarks/Processes.h"

// What the daemon holds and does while nothing happens: its memory without cards, for each card and after a large
// migration, and its context switches. On a machine of its own.
//
// The bare process opens the same device library, which makes the same cards, so that the library's share is in both.

namespace
{

const char* const systemFile = "/etc/quillstone/QuillstonePreferences.xml";
const char* const pages = "Rss:";
const char* const privatePages = "Private_"; // clean and dirty

Process::Environment with(int cards) { return {{"BARE_LIBRARY_CARDS", std::to_string(cards)}}; }

/// A running daemon whose cards all have their threads.
struct Daemon
{
    Daemon(const Stage& stage, const SyslogSocket& syslog, int cards)
        : syslog(syslog), process({stage / "OstrivaneHelper", "-n"}, with(cards))
    {
        syslog.await("Listening for");
        process.awaitIdle(1 + cards);
    }

    void stop()
    {
        process.terminate();
        process.wait();
        syslog.await("Stopped listening");
    }

    const SyslogSocket& syslog;
    Process process;
};

double ofDaemon(const Stage& stage, const SyslogSocket& syslog, int cards, const char* line)
{
    Daemon daemon(stage, syslog, cards);
    const double bytes = daemon.process.memory(line);
    daemon.stop();
    return bytes;
}

/// Of a bare process with so many threads; the device library has made so many cards.
double ofBareProcess(const Stage& stage, int threads, int cards, const char* line)
{
    Process process({stage / "bare_process", std::to_string(threads)}, with(cards));
    process.awaitByte();
    process.awaitIdle(1 + threads);
    const double bytes = process.memory(line);
    process.closeInput();
    process.wait();
    return bytes;
}

void measureEmpty(const Report& report, const Stage& stage, const SyslogSocket& syslog)
{
    Samples ours;
    Samples floor;
    alternate(
        report.rounds(6, 1), [&] { ours.push_back(ofDaemon(stage, syslog, 0, pages)); },
        [&] { floor.push_back(ofBareProcess(stage, 0, 0, pages)); });
    report.compare("Resident memory, no cards", median(ours), median(floor), Unit::Memory, {Goal::AtMost, 1.3});
}

/// What a package would win that brought the two libraries inside the executable, at the most.
void measureLinking(const Report& report)
{
    const auto ofIdle = [](const std::string& program)
    {
        Process process({program, "0"});
        process.awaitByte();
        return process.memory(privatePages);
    };
    const Stage programs({BARE_PROCESS, LEAN_PROCESS});
    report.compare("Private memory of an empty process; floor: without tinyxml and boost",
                   ofIdle(programs / "bare_process"), ofIdle(programs / "lean_process"), Unit::Memory, {});
}

void measureGrowth(const Report& report, const Stage& stage, const SyslogSocket& syslog)
{
    const int cards = report.rounds(1000, 50);
    Samples ours;
    Samples floor;
    alternate(
        report.rounds(4, 1),
        [&]
        {
            const double library =
                ofBareProcess(stage, 0, cards, privatePages) - ofBareProcess(stage, 0, 0, privatePages);
            const double growth =
                ofDaemon(stage, syslog, cards, privatePages) - ofDaemon(stage, syslog, 0, privatePages);
            ours.push_back((growth - library) / cards);
        },
        [&]
        {
            const double growth =
                ofBareProcess(stage, cards, 0, privatePages) - ofBareProcess(stage, 0, 0, privatePages);
            floor.push_back(growth / cards);
        });
    report.compare("Private memory for each card", median(ours), median(floor), Unit::Memory, {Goal::AtMost, 1.5});
}

double afterMigration(const Stage& stage, const SyslogSocket& syslog, int cards)
{
    writeUnmigrated(systemFile, cards);
    const double bytes = ofDaemon(stage, syslog, 0, pages);
    require(isMigrated(systemFile), "the daemon has not migrated");
    std::filesystem::remove(systemFile);
    return bytes;
}

void measureMigration(const Report& report, const Stage& stage, const SyslogSocket& syslog)
{
    constexpr double mostGrowth = 1 << 20;
    const int cards = report.rounds(10000, 1000);
    Samples ours;
    Samples floor;
    alternate(
        report.rounds(6, 1), [&] { ours.push_back(afterMigration(stage, syslog, cards)); },
        [&] { floor.push_back(afterMigration(stage, syslog, 16)); });
    const double growth = median(ours) - median(floor);
    report.row("Resident memory after migrating " + std::to_string(cards) + " cards; floor: 16",
               textOf(median(ours), Unit::Memory), textOf(median(floor), Unit::Memory),
               "+" + textOf(growth, Unit::Memory), "<= +" + textOf(mostGrowth, Unit::Memory), growth <= mostGrowth);
}

void measureIdle(const Report& report, const Stage& stage, const SyslogSocket& syslog)
{
    const int cards = report.rounds(1000, 50);
    const int seconds = report.rounds(30, 1);
    Daemon daemon(stage, syslog, cards);
    const long before = daemon.process.contextSwitches();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const long switches = daemon.process.contextSwitches() - before;
    daemon.stop();
    report.row("Context switches in " + std::to_string(seconds) + " s, " + std::to_string(cards) + " idle cards",
               std::to_string(switches), "0", "-", "0", switches == 0);
}

void measureAll(const Report& report)
{
    require(librariesOf(DAEMON_BINARY) == librariesOf(BARE_PROCESS), "the bare process links other libraries");
    const SyslogSocket syslog;
    const Stage stage({DAEMON_BINARY, BARE_PROCESS, BARE_LIBRARY});
    measureEmpty(report, stage, syslog);
    measureGrowth(report, stage, syslog);
    measureMigration(report, stage, syslog);
    measureLinking(report);
    measureIdle(report, stage, syslog);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
