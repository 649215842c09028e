#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// What the programs of this folder share: the clock, the statistics, and the rows in which they report.

using Clock = std::chrono::steady_clock;

/// Seconds, bytes or a count: one number a sample.
using Samples = std::vector<double>;

double secondsBetween(Clock::time_point begin, Clock::time_point end);
double secondsOf(const std::function<void()>& work);

/// The smallest sample that so many of a hundred do not exceed.
double percentile(Samples samples, double hundredths);
double median(const Samples& samples);

/// Throws if it does not hold: what can't run must not look like a figure.
void require(bool holds, const std::string& what);

/// Calls both in each round and changes who is first, so that what disturbs the machine disturbs both.
void alternate(int rounds, const std::function<void()>& ours, const std::function<void()>& baseline);

enum class Unit
{
    Time,
    Memory,
    Rate, ///< A second.
    Count
};

std::string textOf(double value, Unit unit);

struct Goal
{
    enum Kind
    {
        AtMost,
        AtLeast
    };

    Kind kind;
    double ratio;
};

/// What a benchmark program is told, and where it leaves its results: rows on standard output, its fields parted by
/// tabs, and data for plots in files.
class Report
{
public:
    /// Knows `--short`, for a round that only shows that everything runs, and `--data FOLDER`.
    Report(int argc, char* argv[]);

    /// `full` as a rule, `less` in a short round.
    template <typename Number>
    Number rounds(Number full, Number less) const
    {
        return isShort ? less : full;
    }

    /// Judges the ratio, but not in a short round.
    void compare(const std::string& measure, double ours, double baseline, Unit unit, Goal goal) const;
    /// For what is not a matter of a ratio.
    void row(const std::string& measure, const std::string& ours, const std::string& baseline, const std::string& ratio,
             const std::string& goal, bool met) const;

    /// Columns of numbers for a plot; nothing without a folder.
    void data(const std::string& file, const std::vector<Samples>& rows) const;

    bool isShort = false;

private:
    std::string folder;
};

/// The whole of a benchmark's main. Returns its status: 1, with the reason on stderr, if something could not run.
int runBenchmark(int argc, char* argv[], const std::function<void(const Report&)>& measure);
