#include <filesystem>
#include <thread>

#include "benchmarks/Measure.h"
#include "benchmarks/PreferenceFiles.h"
#include "benchmarks/Program.h"
#include "testing/ProcessCounters.h"
#include "testing/TemporaryFolder.h"

// What the daemon holds and does while nothing happens: its memory without cards, for each card and after a large
// migration, and its context switches. On a private machine.
//
// The bare process opens the same device library, which makes the same cards, so that the library's share is in both.

namespace
{

const char* const systemFile = "/etc/quillstone/QuillstonePreferences.xml";
const char* const pages = "Rss:";
const char* const privatePages = "Private_"; // clean and dirty

class MemoryBenchmark
{
public:
    explicit MemoryBenchmark(const Report& rows) : report(rows) {}

    void measureEmpty() const
    {
        Samples ours;
        Samples baseline;
        alternate(
            report.rounds(6, 1), [&] { ours.push_back(ofDaemon(0, pages)); },
            [&] { baseline.push_back(ofBareProcess(0, 0, pages)); });
        report.compare("Resident memory, no cards", median(ours), median(baseline), Unit::Memory, {Goal::AtMost, 1.3});
    }

    void measureGrowth() const
    {
        const int cards = report.rounds(1000, 50);
        Samples ours;
        Samples baseline;
        alternate(
            report.rounds(4, 1),
            [&]
            {
                const double library = ofBareProcess(0, cards, privatePages) - ofBareProcess(0, 0, privatePages);
                ours.push_back((ofDaemon(cards, privatePages) - ofDaemon(0, privatePages) - library) / cards);
            },
            [&]
            {
                const double growth = ofBareProcess(cards, 0, privatePages) - ofBareProcess(0, 0, privatePages);
                baseline.push_back(growth / cards);
            });
        report.compare("Private memory for each card", median(ours), median(baseline), Unit::Memory,
                       {Goal::AtMost, 1.5});
    }

    void measureMigration() const
    {
        constexpr double maxGrowth = 1 << 20;
        const int cards = report.rounds(10000, 1000);
        Samples ours;
        Samples baseline;
        alternate(
            report.rounds(6, 1), [&] { ours.push_back(afterMigration(cards)); },
            [&] { baseline.push_back(afterMigration(16)); });
        const double growth = median(ours) - median(baseline);
        report.row("Resident memory after migrating " + std::to_string(cards) + " cards; baseline: 16",
                   textOf(median(ours), Unit::Memory), textOf(median(baseline), Unit::Memory),
                   "+" + textOf(growth, Unit::Memory), "<= +" + textOf(maxGrowth, Unit::Memory), growth <= maxGrowth);
    }

    void measureIdle() const
    {
        const int cards = report.rounds(1000, 50);
        const int seconds = report.rounds(30, 1);
        Program daemon(syslog, {stage / "OstrivaneHelper", "-n"}, cards);
        daemon.awaitIdle(1 + cards);
        const long before = contextSwitches(daemon.child.pid);
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        const long switches = contextSwitches(daemon.child.pid) - before;
        daemon.stop();
        report.row("Context switches in " + std::to_string(seconds) + " s, " + std::to_string(cards) + " idle cards",
                   std::to_string(switches), "0", "-", "0", switches == 0);
    }

private:
    double measure(const Lines& words, int threads, int cards, const char* line) const
    {
        Program program(syslog, words, cards);
        program.awaitIdle(1 + threads);
        const double bytes = program.memory(line);
        program.stop();
        return bytes;
    }

    double ofDaemon(int cards, const char* line) const
    {
        return measure({stage / "OstrivaneHelper", "-n"}, cards, cards, line);
    }

    double ofBareProcess(int threads, int cards, const char* line) const
    {
        return measure({stage / "bare_process", std::to_string(threads)}, threads, cards, line);
    }

    double afterMigration(int cards) const
    {
        writeUnmigrated(systemFile, cards);
        const double bytes = ofDaemon(0, pages);
        require(isMigrated(systemFile), "the daemon has not migrated");
        std::filesystem::remove(systemFile);
        return bytes;
    }

    const Report& report;
    const SyslogCollector syslog;
    const TemporaryFolder stage{{DAEMON_BINARY, BARE_PROCESS, BARE_LIBRARY}};
};

void measureAll(const Report& report)
{
    require(librariesOf(DAEMON_BINARY) == librariesOf(BARE_PROCESS), "the bare process links other libraries");
    const MemoryBenchmark benchmark(report);
    benchmark.measureEmpty();
    benchmark.measureGrowth();
    benchmark.measureMigration();
    benchmark.measureIdle();
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
