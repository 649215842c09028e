#include "simulator/Subscriptions.h"

#include <algorithm>

Subscriptions::~Subscriptions()
{
    for (const Subscription& subscription : subscriptions)
        subscription.callback->Release();
}

void Subscriptions::add(uint32_t topic, ITessarigNotificationCallback* callback)
{
    callback->AddRef();
    const std::lock_guard lock(mutex);
    subscriptions.push_back({topic, callback});
}

void Subscriptions::remove(uint32_t topic, ITessarigNotificationCallback* callback)
{
    const Subscription subscription{topic, callback};
    bool subscribed = false;
    {
        std::unique_lock lock(mutex);
        const auto entry = std::find(subscriptions.begin(), subscriptions.end(), subscription);
        subscribed = entry != subscriptions.end();
        if (subscribed)
            subscriptions.erase(entry);
        deliveryEnded.wait(lock, [&] { return !runsElsewhere(subscription); });
    }
    if (subscribed)
        callback->Release();
}

void Subscriptions::deliver(uint32_t topic, int64_t param1, int64_t param2)
{
    std::vector<Subscription> present;
    {
        const std::lock_guard lock(mutex);
        present = subscriptions;
    }
    for (const Subscription& subscription : present)
    {
        if (subscription.topic != topic || !begin(subscription))
            continue;
        static_cast<void>(subscription.callback->Notify(topic, param1, param2));
        finish(subscription);
    }
}

/// False if the subscription has ended in the meantime.
bool Subscriptions::begin(const Subscription& subscription)
{
    const std::lock_guard lock(mutex);
    if (std::find(subscriptions.begin(), subscriptions.end(), subscription) == subscriptions.end())
        return false;
    deliveries.push_back({subscription, std::this_thread::get_id()});
    return true;
}

void Subscriptions::finish(const Subscription& subscription)
{
    const std::lock_guard lock(mutex);
    const auto entry =
        std::find_if(deliveries.begin(), deliveries.end(),
                     [&](const Delivery& delivery) {
                         return delivery.subscription == subscription && delivery.thread == std::this_thread::get_id();
                     });
    deliveries.erase(entry);
    deliveryEnded.notify_all();
}

bool Subscriptions::runsElsewhere(const Subscription& subscription) const
{
    return std::any_of(deliveries.begin(), deliveries.end(),
                       [&](const Delivery& delivery) {
                           return delivery.subscription == subscription &&
                                  delivery.thread != std::this_thread::get_id();
                       });
}
