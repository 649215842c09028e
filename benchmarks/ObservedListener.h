#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <semaphore>

#include "benchmarks/BareDevice.h"
#include "benchmarks/Measure.h"
#include "device/PreferenceChangeListener.h"

/// Notes when it is subscribed to for the last of the three topics, and does what it is told as its save.
class ObservedDevice final : public BareDevice
{
public:
    ResultCode Subscribe(uint32_t topic, ITessarigNotificationCallback*) override
    {
        if (topic == Topic::setd)
        {
            subscribedAt = Clock::now();
            subscribed.release();
        }
        return S_OK;
    }

    ResultCode PersistState() override
    {
        persist();
        return S_OK;
    }

    Clock::time_point subscribedAt; ///< To be read once `subscribed` was acquired.
    std::binary_semaphore subscribed{0};
    std::function<void()> persist = [] {}; ///< Set before the device has a listener. Runs on the worker.
};

/// A listener that has subscribed, with its device.
class ObservedListener
{
public:
    ObservedListener(SharedPreferenceMutex& mutex, std::function<void()> persist)
    {
        device.persist = std::move(persist);
        listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(&device));
        device.subscribed.acquire();
    }

    ~ObservedListener()
    {
        listener->unsubscribe();
        listener->Release();
    }

    ObservedListener(const ObservedListener&) = delete;
    ObservedListener& operator=(const ObservedListener&) = delete;

    /// As the library tells it that a setting changed.
    void change() { static_cast<void>(listener->Notify(Topic::setd, 0, 0)); }

private:
    ObservedDevice device;
    PreferenceChangeListener* listener = nullptr;
};

/// Listeners that are never idle: each save asks for another one, until the end of the object.
class BusyListeners
{
public:
    /// `persist` runs under the mutex.
    BusyListeners(SharedPreferenceMutex& mutex, int count, const std::function<void()>& persist)
    {
        for (int i = 0; i < count; ++i)
        {
            std::unique_ptr<ObservedListener>& self = listeners.emplace_back();
            self = std::make_unique<ObservedListener>(mutex,
                                                      [this, &self, persist]
                                                      {
                                                          persist();
                                                          if (running)
                                                              self->change();
                                                      });
            self->change();
        }
    }

    ~BusyListeners() { running = false; }

    BusyListeners(const BusyListeners&) = delete;
    BusyListeners& operator=(const BusyListeners&) = delete;

private:
    std::atomic<bool> running = true;
    std::list<std::unique_ptr<ObservedListener>> listeners; ///< Each is known to its own device.
};
