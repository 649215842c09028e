#include <thread>

#include "benchmarks/ObservedListener.h"
#include "device/OstrivaneHelper.h"

// How long a plain device takes to come and to go, beside the making and joining of a thread. Nothing is opened: the
// main object is not started, and no save is asked for.

namespace
{

/// Between two samples, and until a worker waits.
constexpr std::chrono::microseconds pause{100};

void measureAll(const Report& report)
{
    OstrivaneHelper helper;
    Samples arrival;
    Samples removal;
    Samples thread;
    const auto arriveAndLeave = [&]
    {
        ObservedDevice device;
        const COMPtr<ITessarig> arriving(&device);
        const Clock::time_point begin = Clock::now();
        helper.deviceArrived(arriving);
        device.subscribed.acquire();
        arrival.push_back(secondsBetween(begin, device.subscribedAt));
        std::this_thread::sleep_for(pause);
        removal.push_back(secondsOf([&] { helper.deviceRemoved(arriving); }));
    };
    const auto makeAndJoin = [&]
    {
        thread.push_back(secondsOf([] { std::thread([] {}).join(); }));
        std::this_thread::sleep_for(pause);
    };
    alternate(report.rounds(2000, 10), arriveAndLeave, makeAndJoin);
    report.compare("Arrival of a device to its third Subscribe", median(arrival), median(thread), Unit::Time,
                   {Goal::AtMost, 2.0});
    report.compare("Removal of a device to the end of its thread", median(removal), median(thread), Unit::Time,
                   {Goal::AtMost, 2.0});
}

}

int main(int argc, char* argv[]) { return runBenchmark(argc, argv, measureAll); }
