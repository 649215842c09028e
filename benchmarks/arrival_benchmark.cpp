#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <memory>

#include "benchmarks/ObservedListener.h"
#include "device/OstrivaneHelper.h"

// How long a plain device takes to come and to go, beside the making and joining of a thread. Nothing is opened: the
// main object is not started, and no save is asked for.

namespace
{

/// The two ends of a device's time with the system. Only the one that is measured counts.
void arriveAndLeave(benchmark::State& state, bool arrivalCounts)
{
    OstrivaneHelper helper;
    for ([[maybe_unused]] auto iteration : state)
    {
        ObservedDevice device;
        const COMPtr<ITessarig> arriving(&device);
        const Clock::time_point begin = Clock::now();
        helper.deviceArrived(arriving);
        device.subscribed.acquire();
        std::this_thread::sleep_for(std::chrono::microseconds(100)); // until the worker waits
        const double removal = secondsOf([&] { helper.deviceRemoved(arriving); });
        state.SetIterationTime(arrivalCounts ? secondsBetween(begin, device.subscribedAt) : removal);
    }
}

void arrival(benchmark::State& state) { arriveAndLeave(state, true); }

void removal(benchmark::State& state) { arriveAndLeave(state, false); }

void makeAndJoin(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        state.SetIterationTime(secondsOf([] { std::thread([] {}).join(); }));
        std::this_thread::sleep_for(std::chrono::microseconds(100)); // as the others do
    }
}

/// Keeps the time of each repetition, by the benchmark's name.
class Collector final : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            require(!run.error_occurred, run.error_message);
            if (run.run_type == Run::RT_Iteration)
                times[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                            static_cast<double>(run.iterations));
        }
    }

    std::map<std::string, Samples> times;
};

void add(const Report& report, const char* name, void (*function)(benchmark::State&))
{
    benchmark::RegisterBenchmark(name, function)->UseManualTime()->Iterations(10)->Repetitions(report.rounds(200, 1));
}

void measureAll(const Report& report)
{
    // The repetitions of the three in a random order, so that what disturbs the machine disturbs all.
    std::string words[] = {"arrival_benchmark", "--benchmark_enable_random_interleaving=true"};
    char* pointers[] = {words[0].data(), words[1].data(), nullptr};
    int count = 2;
    benchmark::Initialize(&count, pointers);
    add(report, "arrival", arrival);
    add(report, "removal", removal);
    add(report, "thread", makeAndJoin);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);

    const double floor = median(collector.times["thread"]);
    report.compare("Arrival of a device to its third Subscribe", median(collector.times["arrival"]), floor, Unit::Time,
                   {Goal::AtMost, 2.0});
    report.compare("Removal of a device to the end of its thread", median(collector.times["removal"]), floor,
                   Unit::Time, {Goal::AtMost, 2.0});
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
