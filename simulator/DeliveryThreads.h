#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

/// The library's own threads, on which topics reach their subscribers. What is posted for one card is delivered in the
/// order of posting; different cards may overtake each other. Any thread; nothing is left undelivered.
class DeliveryThreads
{
public:
    DeliveryThreads();
    ~DeliveryThreads();

    void post(int64_t card, std::function<void()> delivery);

private:
    struct Lane
    {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::function<void()>> queue;
        bool stopping = false;
        std::thread thread;
    };

    static void run(Lane& lane);

    std::array<Lane, 2> lanes;
};
