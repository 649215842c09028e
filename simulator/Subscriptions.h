#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "deviceapi/TessarigAPI.h"

/// Who is notified of one card's topics. Keeps a reference on each callback for as long as it is subscribed.
/// Any thread.
class Subscriptions
{
public:
    Subscriptions() = default;
    Subscriptions(const Subscriptions&) = delete;
    Subscriptions& operator=(const Subscriptions&) = delete;
    ~Subscriptions();

    void add(uint32_t topic, ITessarigNotificationCallback* callback);
    /// Returns when no Notify for this pair runs any more, unless it is called from within that Notify.
    void remove(uint32_t topic, ITessarigNotificationCallback* callback);

    /// Calls everybody who is subscribed, one after the other, without a lock held.
    void deliver(uint32_t topic, int64_t param1, int64_t param2);

private:
    struct Subscription
    {
        uint32_t topic;
        ITessarigNotificationCallback* callback;

        bool operator==(const Subscription&) const = default;
    };

    struct Delivery
    {
        Subscription subscription;
        std::thread::id thread;
    };

    bool begin(const Subscription& subscription);
    void finish(const Subscription& subscription);
    bool runsElsewhere(const Subscription& subscription) const;

    std::mutex mutex;
    std::condition_variable deliveryEnded;
    std::vector<Subscription> subscriptions;
    std::vector<Delivery> deliveries;
};
