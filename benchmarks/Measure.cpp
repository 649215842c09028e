#include "benchmarks/Measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

namespace
{

std::string formatted(const char* format, double value)
{
    char text[64];
    snprintf(text, sizeof text, format, value);
    return text;
}

std::string goalText(const Goal& goal)
{
    return (goal.kind == Goal::AtMost ? "<= " : ">= ") + formatted("%.2f", goal.ratio);
}

bool isMet(const Goal& goal, double ratio)
{
    return goal.kind == Goal::AtLeast ? ratio >= goal.ratio : ratio <= goal.ratio;
}

}

double secondsBetween(Clock::time_point begin, Clock::time_point end)
{
    return std::chrono::duration<double>(end - begin).count();
}

double secondsOf(const std::function<void()>& work)
{
    const Clock::time_point begin = Clock::now();
    work();
    return secondsBetween(begin, Clock::now());
}

double percentile(Samples samples, double hundredths)
{
    require(!samples.empty(), "no samples");
    std::sort(samples.begin(), samples.end());
    const double rank = std::ceil(hundredths / 100 * static_cast<double>(samples.size()));
    return samples[static_cast<size_t>(std::max(rank, 1.0)) - 1];
}

double median(const Samples& samples) { return percentile(samples, 50); }

void require(bool holds, const std::string& what)
{
    if (!holds)
        throw std::runtime_error(what);
}

void alternate(int rounds, const std::function<void()>& ours, const std::function<void()>& baseline)
{
    for (int round = 0; round < rounds; ++round)
    {
        (round % 2 == 0 ? ours : baseline)();
        (round % 2 == 0 ? baseline : ours)();
    }
}

std::string textOf(double value, Unit unit)
{
    switch (unit)
    {
    case Unit::Time:
        return value < 1e-3 ? formatted("%.2f us", value * 1e6) : formatted("%.2f ms", value * 1e3);
    case Unit::Memory:
        return formatted("%.1f KiB", value / 1024);
    case Unit::Rate:
        return formatted("%.0f /s", value);
    case Unit::Count:
        break;
    }
    return formatted("%.0f", value);
}

Report::Report(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string word = argv[i];
        if (word == "--short")
            isShort = true;
        else if (word == "--data" && i + 1 < argc)
            folder = argv[++i];
        else
            require(false, "usage: " + std::string(argv[0]) + " [--short] [--data FOLDER]");
    }
}

void Report::compare(const std::string& measure, double ours, double baseline, Unit unit, Goal goal) const
{
    require(baseline > 0, measure + ": the baseline is not above 0");
    const double ratio = ours / baseline;
    row(measure, textOf(ours, unit), textOf(baseline, unit), formatted("%.2f", ratio), goalText(goal),
        isMet(goal, ratio));
}

void Report::row(const std::string& measure, const std::string& ours, const std::string& baseline,
                 const std::string& ratio, const std::string& goal, bool met) const
{
    const char* judgement = isShort ? "-" : met ? "met" : "missed";
    printf("%s\t%s\t%s\t%s\t%s\t%s\n", measure.c_str(), ours.c_str(), baseline.c_str(), ratio.c_str(), goal.c_str(),
           judgement);
    fflush(stdout);
}

void Report::data(const std::string& file, const std::vector<Samples>& rows) const
{
    if (folder.empty())
        return;
    std::ofstream stream(folder + "/" + file);
    for (const Samples& row : rows)
    {
        for (const double value : row)
            stream << value << ' ';
        stream << '\n';
    }
    stream.flush();
    require(stream.good(), "writing the data of " + file);
}

int runBenchmark(int argc, char* argv[], const std::function<void(const Report&)>& measure)
{
    try
    {
        measure(Report(argc, argv));
        return 0;
    }
    catch (const std::exception& error)
    {
        fprintf(stderr, "failed: %s\n", error.what());
        return 1;
    }
}
