#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "benchmarks/ObservedListener.h"
#include "testing/PrivateMachine.h"

// What a change of a setting costs: the way from the library's call to the save, the time that the call keeps the
// library's thread, and the saves that a burst of changes leads to. On a private machine, as it makes the segment.

namespace
{

using namespace std::chrono_literals;

/// Long enough for a worker to wait again after its save.
constexpr auto pause = 1ms;

/// The baseline: a thread that waits on a condition variable and does its work when it is woken.
class WaitingThread
{
public:
    explicit WaitingThread(std::function<void()> whenWoken) : work(std::move(whenWoken)), thread([this] { run(); }) {}

    ~WaitingThread()
    {
        {
            const std::lock_guard lock(mutex);
            running = false;
            wakeup.notify_one();
        }
        thread.join();
    }

    void wake()
    {
        const std::lock_guard lock(mutex);
        flag = true;
        wakeup.notify_one();
    }

private:
    void run()
    {
        std::unique_lock lock(mutex);
        while (running)
        {
            wakeup.wait(lock, [this] { return flag || !running; });
            if (!running)
                return;
            flag = false;
            lock.unlock();
            work();
            lock.lock();
        }
    }

    std::mutex mutex;
    std::condition_variable wakeup;
    bool running = true;
    bool flag = false;
    std::function<void()> work;
    std::thread thread;
};

struct Times
{
    Samples untilWork; ///< From the begin of the call to the begin of what it asks for.
    Samples call;      ///< How long the call keeps its thread.
};

/// Where the woken thread says that it has begun.
struct Begun
{
    void operator()()
    {
        at = Clock::now();
        semaphore.release();
    }

    Clock::time_point at;
    std::binary_semaphore semaphore{0};
};

void sample(Times& times, Begun& begun, const std::function<void()>& call)
{
    std::this_thread::sleep_for(pause);
    const Clock::time_point begin = Clock::now();
    call();
    const Clock::time_point end = Clock::now();
    begun.semaphore.acquire();
    times.untilWork.push_back(secondsBetween(begin, begun.at));
    times.call.push_back(secondsBetween(begin, end));
}

struct Pair
{
    Times ours;
    Times baseline;
};

Pair wakeInTurn(SharedPreferenceMutex& mutex, int rounds)
{
    Begun oursBegun;
    Begun baselineBegun;
    ObservedListener listener(mutex, [&] { oursBegun(); });
    const auto waiting = std::make_unique<WaitingThread>( // from the heap, as the listener
        [&]
        {
            std::this_thread::sleep_for(PreferenceChangeListener::settleTime);
            baselineBegun();
        });
    Pair times;
    alternate(
        rounds, [&] { sample(times.ours, oursBegun, [&] { listener.change(); }); },
        [&] { sample(times.baseline, baselineBegun, [&] { waiting->wake(); }); });
    return times;
}

/// How long the calls keep the library, at a percentile: the median of many pairs, as one differs from the next by
/// more than its two sides do.
void compareCalls(const Report& report, const std::string& measure, SharedPreferenceMutex& mutex, double hundredths)
{
    Samples ours;
    Samples baseline;
    for (int i = 0; i < report.rounds(20, 1); ++i)
    {
        const Pair calls = wakeInTurn(mutex, report.rounds(100, 5));
        ours.push_back(percentile(calls.ours.call, hundredths));
        baseline.push_back(percentile(calls.baseline.call, hundredths));
    }
    report.compare(measure, median(ours), median(baseline), Unit::Time, {Goal::AtMost, 1.10});
}

void distribution(const Report& report, const std::string& file, const Samples& samples)
{
    std::vector<Samples> rows;
    for (int hundredth = 1; hundredth <= 100; ++hundredth)
        rows.push_back({static_cast<double>(hundredth), 1e6 * percentile(samples, hundredth)});
    report.data(file, rows);
}

void measureIdle(const Report& report, SharedPreferenceMutex& mutex)
{
    const Pair saves = wakeInTurn(mutex, report.rounds(100, 5));
    report.compare("Notify to save, idle: median", median(saves.ours.untilWork), median(saves.baseline.untilWork),
                   Unit::Time, {Goal::AtMost, 1.05});
    distribution(report, "latency-ours.txt", saves.ours.untilWork);
    distribution(report, "latency-baseline.txt", saves.baseline.untilWork);
    compareCalls(report, "Notify keeps the library, idle: median", mutex, 50);
}

/// The listener that is measured has an unopened mutex of its own: it doesn't queue for its saves, and so is idle when
/// it is called.
void measureBusy(const Report& report, SharedPreferenceMutex& mutex)
{
    const BusyListeners busy(mutex, report.rounds(200, 20), [] { std::this_thread::sleep_for(200us); });
    SharedPreferenceMutex unopened;
    compareCalls(report, "Notify keeps the library, 200 save: 99th", unopened, 99);
}

struct Burst
{
    int saves = 0;
    int allowed = 0; ///< One at once, one after the last change, and one for each settling that fits in between.
};

Burst burstOf(int changes, SharedPreferenceMutex& mutex)
{
    std::atomic<int> saves = 0;
    ObservedListener listener(mutex, [&] { ++saves; });
    std::this_thread::sleep_for(pause);
    const double seconds = secondsOf(
        [&]
        {
            for (int i = 0; i < changes; ++i)
                listener.change();
        });
    Burst burst;
    burst.allowed =
        2 + static_cast<int>(seconds / std::chrono::duration<double>(PreferenceChangeListener::settleTime).count());
    while (burst.saves == 0 || burst.saves != saves)
    {
        burst.saves = saves;
        std::this_thread::sleep_for(20 * pause);
    }
    return burst;
}

void measureBursts(const Report& report, SharedPreferenceMutex& mutex)
{
    for (const int changes : {10, 100, 1000})
    {
        Burst most;
        bool kept = true;
        for (int i = 0; i < report.rounds(20, 2); ++i)
        {
            const Burst burst = burstOf(changes, mutex);
            kept &= burst.saves <= burst.allowed;
            most.saves = std::max(most.saves, burst.saves);
            most.allowed = std::max(most.allowed, burst.allowed);
        }
        report.row("Saves for a burst of " + std::to_string(changes) + " changes, most",
                   textOf(most.saves, Unit::Count), "2", std::to_string(most.saves / 2.0).substr(0, 4),
                   "<= " + textOf(most.allowed, Unit::Count) + " saves", kept);
    }
}

void measureAll(const Report& report)
{
    requirePrivateMachine();
    SharedPreferenceMutex mutex;
    require(mutex.open(true), "opening the shared mutex");
    measureIdle(report, mutex);
    measureBusy(report, mutex);
    measureBursts(report, mutex);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
