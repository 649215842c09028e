#include "device/PreferenceChangeListener.h"

#include <pthread.h>

#include <chrono>

#include "device/Tracepoints.h"
#include "deviceapi/Contained.h"

namespace
{

/// The worker's sleep between a request and its save: changes that come together are saved by two saves at most.
constexpr std::chrono::nanoseconds settleTime{500'000};

/// Opens the latch however its scope is left, even if the library ends the worker: whoever stops the listener waits.
struct LatchOpener
{
    ~LatchOpener() { latch.count_down(); }
    std::latch& latch;
};

template <typename Source>
ResultCode query(const COMPtr<Source>& source, const InterfaceId& id, void** out)
{
    return contained([&] { return source->QueryInterface(id, out); }, E_FAIL);
}

}

PreferenceChangeListener::PreferenceChangeListener(SharedPreferenceMutex* preferenceMutex,
                                                   const COMPtr<ITessarig>& device)
    : device(device), preferenceMutex(preferenceMutex)
{
    thread = std::thread([this] { workerLoop(); });
}

PreferenceChangeListener::~PreferenceChangeListener()
{
    {
        const std::lock_guard lock(mutex);
        running = false;
        wakeup.notify_one();
    }
    thread.join();
}

bool PreferenceChangeListener::isDevice(const COMPtr<ITessarig>& other) const { return device == other; }

void PreferenceChangeListener::unsubscribe()
{
    listening.wait();
    if (!notification)
        return;
    for (const uint32_t topic : {Topic::setd, Topic::hwic, Topic::hwiC})
        contained([&] { static_cast<void>(notification->Unsubscribe(topic, this)); });
}

ResultCode PreferenceChangeListener::QueryInterface(InterfaceId iid, void** out)
{
    if (iid != IID_ITessarigNotificationCallback)
        return E_NOINTERFACE;
    *out = static_cast<ITessarigNotificationCallback*>(this);
    return S_OK;
}

int64_t PreferenceChangeListener::AddRef() { return ++refCount; }

int64_t PreferenceChangeListener::Release()
{
    const int64_t count = --refCount;
    if (count == 0)
        delete this;
    return count;
}

ResultCode PreferenceChangeListener::Notify(uint32_t topic, int64_t param1, int64_t param2)
{
    TRACE(notification, device.ptr, topic);
    if (topic == Topic::setd)
        requestSave();
    else if ((topic == Topic::hwic || topic == Topic::hwiC) && hardwareState)
        forward(topic, static_cast<uint32_t>(param1), param2); // the low half is the device's
    return S_OK;
}

void PreferenceChangeListener::requestSave()
{
    // Signalled under the lock: the worker counts each wake-up as a request, and would count a signal that came after
    // it has seen `dirty` as another.
    const std::lock_guard lock(mutex);
    dirty = true;
    wakeup.notify_one();
}

void PreferenceChangeListener::forward(uint32_t topic, uint32_t value, int64_t extra)
{
    const auto handle = [&]
    {
        return topic == Topic::hwic ? hardwareState->HandleHardwareNotification(value)
                                    : hardwareState->HandleHardwareNotificationEx(value, extra);
    };
    if (contained(handle, -1) >= 0)
        contained([this] { static_cast<void>(configuration->HardwareNotificationHandled()); });
}

void PreferenceChangeListener::workerLoop()
{
    pthread_setname_np(pthread_self(), "listener");
    {
        const LatchOpener opener{listening};
        static_cast<void>(startListening()); // after a failure the listener stays, idle
        TRACE(listener_ready, device.ptr, startSteps);
    }

    std::unique_lock lock(mutex);
    while (running)
    {
        if (!dirty)
        {
            wakeup.wait(lock); // without a condition: each wake-up counts as a request
            if (!running)
                break;
        }
        dirty = false;
        lock.unlock();
        std::this_thread::sleep_for(settleTime);
        save();
        lock.lock();
    }
}

ResultCode PreferenceChangeListener::startListening()
{
    const COMPtr<ITessarigHardwareState> deviceState(device, IID_ITessarigHardwareState);
    if (!deviceState)
        return E_FAIL;
    ++startSteps;
    contained([&] { static_cast<void>(deviceState->PrepareDevice()); });
    static_cast<void>(subscribe());
    return S_OK;
}

bool PreferenceChangeListener::subscribe()
{
    query(device, IID_ITessarigConfiguration, &configuration);
    if (!configuration)
        return false;
    ++startSteps;
    query(configuration, IID_ITessarigHardwareState, &hardwareState);
    if (!hardwareState)
        return false;
    ++startSteps;
    query(device, IID_ITessarigNotification, &notification);
    if (!notification)
        return false;
    ++startSteps;

    // Settings changes come last: when the first save can be requested, all else is in place.
    for (const uint32_t topic : {Topic::hwic, Topic::hwiC, Topic::setd})
    {
        if (contained([&] { return notification->Subscribe(topic, this); }, E_FAIL) != S_OK)
            return false;
        ++startSteps;
    }
    return true;
}

void PreferenceChangeListener::save()
{
    if (!hardwareState)
        return; // a spurious wake-up on a device without the interface
    TRACE(save_begin, device.ptr);
    [[maybe_unused]] ResultCode result;
    {
        const std::lock_guard lock(*preferenceMutex);
        TRACE(save_locked, device.ptr);
        result = contained([this] { return hardwareState->PersistState(); }, E_FAIL);
    }
    TRACE(save_end, device.ptr, result);

    COMPtr<ITessarigTopicBroadcaster> broadcaster;
    if (query(device, IID_ITessarigTopicBroadcaster, &broadcaster) == S_OK && broadcaster)
        result = contained([&] { return broadcaster->Post(Topic::pref, 0, 0); }, E_FAIL);
    else
        result = E_NOINTERFACE;
    TRACE(post, device.ptr, result);
}
