#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include <tinyxml.h>

#include "preferences/PreferenceUpdater.h"

// How a migration grows with the file, beside the parser's own work on the same two files with the same syncs: loading
// the one that is read, printing the one that is written. Then what stays in memory after a large migration.

namespace
{

constexpr int cardsOfGroup = 16;

const char* const migrated[] = {"NetOutputVideoIPv4", "NetOutputVideoPort",     "NetOutputAudioIPv4",
                                "NetOutputAudioPort", "NetOutputAncillaryIPv4", "NetOutputAncillaryPort"};

void check(bool holds, const char* what)
{
    if (holds)
        return;
    fprintf(stderr, "failed: %s\n", what);
    exit(1);
}

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
    const std::string printed = folder + "/printed.xml";            ///< On its way into the place of the input.
};

void writeFile(int cards)
{
    PreferenceStore store(true);
    for (int card = 0; card < cards; ++card)
    {
        if (card % cardsOfGroup == 0)
            for (const char* name : migrated)
                store.set("group" + std::to_string(card), name, std::string("239.0.0.1"));
        for (int setting = 0; setting < 3 + card % 2; ++setting)
            store.set(std::to_string(card), "Setting" + std::to_string(setting), std::string("value"));
    }
    check(store.write(), "writing the input");
}

double secondsOf(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void migrate()
{
    PreferenceUpdater updater(true);
    check(updater.update() == PreferenceUpdater::Moved, "the migration");
}

void load(TiXmlDocument& document, const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    check(file && document.LoadFile(file), "the parser's load");
    fclose(file);
}

void print(const TiXmlDocument& document, const Home& home)
{
    FILE* file = fopen(home.printed.c_str(), "wb");
    check(file && document.SaveFile(file) && fflush(file) == 0 && fdatasync(fileno(file)) == 0, "the parser's print");
    check(rename(home.printed.c_str(), home.input.c_str()) == 0, "the rename");
    const int folder = open(home.folder.c_str(), O_RDONLY);
    check(fdatasync(folder) == 0 && close(folder) == 0 && fclose(file) == 0, "the folder's sync");
}

struct Times
{
    double ours = 1e9;
    double parsers = 1e9;
};

/// The best of some rounds, the two in turn.
Times measure(int cards, int rounds)
{
    const Home home;
    Times best;
    for (int round = 0; round < rounds; ++round)
    {
        writeFile(cards);
        std::filesystem::copy_file(home.file, home.input, std::filesystem::copy_options::overwrite_existing);
        best.ours = std::min(best.ours, secondsOf(migrate));
        TiXmlDocument before;
        TiXmlDocument after;
        const double loading = secondsOf([&] { load(before, home.input); });
        load(after, home.file);
        best.parsers = std::min(best.parsers, loading + secondsOf([&] { print(after, home); }));
    }
    return best;
}

long residentKiB()
{
    long pages = 0;
    std::ifstream("/proc/self/statm").ignore(64, ' ') >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

/// To be measured first, as nothing else has used memory yet. What the migration took is given back as at a start.
long residentGrowth(int cards)
{
    const Home home;
    const auto residentAfter = [](int count)
    {
        writeFile(count);
        migrate();
        malloc_trim(0);
        return residentKiB();
    };
    const long before = residentAfter(cardsOfGroup);
    return residentAfter(cards) - before;
}

}

/// With --short a round that only shows that it runs.
int main(int argc, char* argv[])
{
    const bool isShort = argc > 1 && std::string(argv[1]) == "--short";
    const int cards = isShort ? 1000 : 10000;
    const int rounds = isShort ? 1 : 7;

    const long growth = residentGrowth(cards);
    const Times small = measure(cards / 10, rounds);
    const Times large = measure(cards, rounds);
    printf("%6s  %12s  %12s  %5s\n", "cards", "migration", "parser alone", "ratio");
    for (const auto& [number, times] : {std::pair(cards / 10, small), std::pair(cards, large)})
        printf("%6d  %9.2f ms  %9.2f ms  %5.2f\n", number, 1e3 * times.ours, 1e3 * times.parsers,
               times.ours / times.parsers);
    printf("ten times the cards: %.1f times the time\n", large.ours / small.ours);
    printf("resident memory after %d cards, over that after %d: %ld KiB\n", cards, cardsOfGroup, growth);
    return 0;
}
