#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <tinyxml.h>

#include "benchmarks/Measure.h"
#include "benchmarks/PreferenceFiles.h"
#include "preferences/Owner.h"
#include "preferences/PreferenceUpdater.h"
#include "testing/Child.h"

// How long a migration takes as the file grows, beside the parser's own work on the same two files with the same syncs:
// loading the one that is read, printing the one that is written. And how long it takes to find that there is nothing
// to move, beside the parser's load alone. And how much memory a migration takes at its peak, beside that of the load.

namespace
{

/// A home on the disk where the benchmark was started: on a file system in memory a sync costs nothing.
struct Home
{
    Home()
    {
        std::filesystem::create_directories(folder);
        setenv("HOME", home.c_str(), 1);
    }
    ~Home() { std::filesystem::remove_all(home); }

    const std::string home = std::filesystem::current_path() / ("migration-benchmark." + std::to_string(getpid()));
    const std::string folder = home + "/.config/quillstone";
    const std::string file = folder + "/QuillstonePreferences.xml"; ///< What is migrated.
    const std::string input = folder + "/input.xml";                ///< What it was before.
    const std::string finished = folder + "/finished.xml";          ///< What it became.
    const std::string temporary = folder + "/temporary.xml";        ///< What the parser prints.
    const std::string printed = folder + "/printed.xml";            ///< Where that is renamed to.
};

void copy(const std::string& from, const std::string& to)
{
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
}

/// The most memory that this process has had at once, in bytes.
double peak()
{
    struct rusage usage = {};
    require(getrusage(RUSAGE_SELF, &usage) == 0, "asking for the memory");
    return 1024.0 * static_cast<double>(usage.ru_maxrss);
}

double growthOf(const std::function<double()>& work)
{
    const double before = peak();
    work();
    return peak() - before;
}

/// A start migrates once, with memory that it has to ask the system for: so each sample has a process of its own.
double inProcessOfItsOwn(const std::function<double()>& sample)
{
    int ends[2] = {-1, -1};
    require(pipe(ends) == 0, "making a pipe");
    const Descriptor source(ends[0]);
    Descriptor target(ends[1]);
    Child child(fork());
    double result = 0;
    if (child.pid == 0)
    {
        bool written = false;
        try
        {
            result = sample();
            written = write(target.get(), &result, sizeof result) == sizeof result;
        }
        catch (const std::exception& error)
        {
            fprintf(stderr, "failed: %s\n", error.what());
        }
        _exit(written ? 0 : 1); // the folder is the parent's to remove
    }
    target = Descriptor();
    const bool received = read(source.get(), &result, sizeof result) == sizeof result;
    require(child.wait() == 0 && received, "a sample");
    return result;
}

double secondsOfUpdate(PreferenceUpdater::Result expected)
{
    PreferenceUpdater updater(true);
    int result = 0;
    const double seconds = secondsOf([&] { result = updater.update(); });
    require(result == expected, "the migration");
    return seconds;
}

void load(TiXmlDocument& document, const std::string& path)
{
    const Stream file(fopen(path.c_str(), "rb"));
    require(file && document.LoadFile(file.get()), "the parser's load");
}

double secondsOfLoad(const std::string& path)
{
    TiXmlDocument document;
    return secondsOf([&] { load(document, path); });
}

void print(const TiXmlDocument& document, const Home& home)
{
    const Stream file(fopen(home.temporary.c_str(), "wb"));
    require(file && document.SaveFile(file.get()) && fflush(file.get()) == 0 && fdatasync(fileno(file.get())) == 0,
            "the parser's print");
    require(rename(home.temporary.c_str(), home.printed.c_str()) == 0, "the rename");
    const Descriptor folder(open(home.folder.c_str(), O_RDONLY));
    require(fdatasync(folder.get()) == 0, "the folder's sync");
}

double secondsOfPrint(const Home& home)
{
    TiXmlDocument document;
    load(document, home.finished);
    return secondsOf([&] { print(document, home); });
}

/// The best of some rounds: whatever disturbs so long a piece of work only adds to it.
struct Best
{
    void add(const std::function<double()>& sample)
    {
        const double result = inProcessOfItsOwn(sample);
        best = best == 0 ? result : std::min(best, result);
    }

    double best = 0;
};

struct Times
{
    Best ours;
    Best baseline;
};

Times migrate(const Home& home, int rounds)
{
    Times times;
    copy(home.input, home.file);
    times.ours.add([] { return secondsOfUpdate(PreferenceUpdater::Moved); });
    copy(home.file, home.finished);
    alternate(
        rounds,
        [&]
        {
            copy(home.input, home.file);
            times.ours.add([] { return secondsOfUpdate(PreferenceUpdater::Moved); });
        },
        [&] { times.baseline.add([&] { return secondsOfLoad(home.input) + secondsOfPrint(home); }); });
    require(contents(home.printed) == contents(home.file), "the two files are the same");
    return times;
}

Times findNothing(const Home& home, int rounds)
{
    Times times;
    copy(home.finished, home.file);
    alternate(
        rounds, [&] { times.ours.add([] { return secondsOfUpdate(PreferenceUpdater::Nothing); }); },
        [&] { times.baseline.add([&] { return secondsOfLoad(home.finished); }); });
    return times;
}

void measurePeak(const Report& report, const Home& home)
{
    const int cards = report.rounds(10000, 1000);
    writeUnmigrated(home.input, cards);
    Times bytes;
    alternate(
        report.rounds(5, 1),
        [&]
        {
            copy(home.input, home.file);
            bytes.ours.add([] { return growthOf([] { return secondsOfUpdate(PreferenceUpdater::Moved); }); });
        },
        [&] { bytes.baseline.add([&] { return growthOf([&] { return secondsOfLoad(home.input); }); }); });
    report.compare("Peak memory while " + std::to_string(cards) + " cards are migrated; baseline: the parser's load",
                   bytes.ours.best, bytes.baseline.best, Unit::Memory, {Goal::AtMost, 0.6});
}

void measureAll(const Report& report)
{
    const Home home;
    measurePeak(report, home);
    std::vector<Samples> plot;
    for (const int cards : {16, 100, 1000, 10000, 50000, 100000})
    {
        if (cards > report.rounds(100000, 1000))
            break;
        const int rounds = report.rounds(cards > 10000 ? 9 : 15, 1);
        writeUnmigrated(home.input, cards);
        const Times moved = migrate(home, rounds);
        const Times nothing = findNothing(home, rounds);
        const std::string of = " of " + std::to_string(cards) + " cards";
        if (cards >= 1000) // of a smaller file all is the disk's
        {
            report.compare("Migration" + of, moved.ours.best, moved.baseline.best, Unit::Time, {Goal::AtMost, 1.15});
            report.compare("Nothing to migrate" + of, nothing.ours.best, nothing.baseline.best, Unit::Time,
                           {Goal::AtMost, 0.95});
        }
        plot.push_back({static_cast<double>(cards), 1e3 * moved.ours.best, 1e3 * moved.baseline.best,
                        1e3 * nothing.ours.best, 1e3 * nothing.baseline.best});
    }
    report.data("migration.txt", plot);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
