#include <pthread.h>
#include <sys/mman.h>

#include <list>
#include <mutex>
#include <thread>

#include "benchmarks/ObservedListener.h"
#include "testing/PrivateMachine.h"

// How many saves a second go through the one mutex, when so many devices never stop to change. On a private machine,
// as it makes the segment.

namespace
{

using namespace std::chrono_literals;

constexpr auto holdTime = 200us;

/// Works for the time that a save takes.
void hold()
{
    const Clock::time_point end = Clock::now() + holdTime;
    while (Clock::now() < end)
        continue;
}

/// A process-shared mutex and nothing around it.
class BareMutex
{
public:
    BareMutex()
    {
        void* mapped =
            mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        require(mapped != MAP_FAILED, "mapping a mutex");
        mutex = static_cast<pthread_mutex_t*>(mapped);
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutex_init(mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    ~BareMutex()
    {
        pthread_mutex_destroy(mutex);
        munmap(mutex, sizeof *mutex);
    }

    BareMutex(const BareMutex&) = delete;
    BareMutex& operator=(const BareMutex&) = delete;

    void lock() { pthread_mutex_lock(mutex); }
    void unlock() { pthread_mutex_unlock(mutex); }

private:
    pthread_mutex_t* mutex = nullptr;
};

/// Saves a second over the window, once all are at work.
double rateOf(const std::atomic<long>& saves, Clock::duration window)
{
    std::this_thread::sleep_for(window / 5);
    const long before = saves;
    const double seconds = secondsOf([&] { std::this_thread::sleep_for(window); });
    return static_cast<double>(saves - before) / seconds;
}

double rateOfListeners(SharedPreferenceMutex& mutex, int devices, Clock::duration window)
{
    std::atomic<long> saves = 0;
    const BusyListeners listeners(mutex, devices,
                                  [&]
                                  {
                                      hold();
                                      ++saves;
                                  });
    return rateOf(saves, window);
}

/// Each thread comes back after the time for which every save has to wait: what it does is what a save can't do
/// without.
double rateOfThreads(int count, Clock::duration window)
{
    std::atomic<long> saves = 0;
    std::atomic<bool> running = true;
    BareMutex mutex;
    std::list<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(
            [&]
            {
                while (running)
                {
                    std::this_thread::sleep_for(PreferenceChangeListener::settleTime);
                    const std::lock_guard lock(mutex);
                    hold();
                    ++saves;
                }
            });
    const double rate = rateOf(saves, window);
    running = false;
    for (std::thread& thread : threads)
        thread.join();
    return rate;
}

void measureAll(const Report& report)
{
    requirePrivateMachine();
    SharedPreferenceMutex mutex;
    require(mutex.open(true), "opening the shared mutex");
    const Clock::duration window = report.rounds(500ms, 50ms);
    std::vector<Samples> plot;
    for (const int devices : {1, 16, 200})
    {
        Samples ours;
        Samples baseline;
        alternate(
            report.rounds(6, 1), [&] { ours.push_back(rateOfListeners(mutex, devices, window)); },
            [&] { baseline.push_back(rateOfThreads(devices, window)); });
        report.compare("Saves through the mutex, devices at once: " + std::to_string(devices), median(ours),
                       median(baseline), Unit::Rate, {Goal::AtLeast, 0.95});
        plot.push_back({static_cast<double>(devices), median(ours), median(baseline)});
    }
    report.data("mutex.txt", plot);
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
