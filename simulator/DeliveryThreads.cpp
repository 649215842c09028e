#include "simulator/DeliveryThreads.h"

#include <utility>

#include <pthread.h>

DeliveryThreads::DeliveryThreads()
{
    for (Lane& lane : lanes)
        lane.thread = std::thread([&lane] { run(lane); });
}

DeliveryThreads::~DeliveryThreads()
{
    for (Lane& lane : lanes)
    {
        {
            const std::lock_guard lock(lane.mutex);
            lane.stopping = true;
        }
        lane.changed.notify_one();
        lane.thread.join();
    }
}

void DeliveryThreads::post(int64_t card, std::function<void()> delivery)
{
    Lane& lane = lanes[static_cast<uint64_t>(card) % lanes.size()];
    const std::lock_guard lock(lane.mutex);
    lane.queue.push_back(std::move(delivery));
    lane.changed.notify_one();
}

void DeliveryThreads::run(Lane& lane)
{
    pthread_setname_np(pthread_self(), "delivery");
    std::unique_lock lock(lane.mutex);
    while (true)
    {
        lane.changed.wait(lock, [&] { return lane.stopping || !lane.queue.empty(); });
        if (lane.queue.empty())
            return;
        const std::function<void()> delivery = std::move(lane.queue.front());
        lane.queue.pop_front();
        lock.unlock();
        delivery();
        lock.lock();
    }
}
