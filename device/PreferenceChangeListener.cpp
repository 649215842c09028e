#include "device/PreferenceChangeListener.h"

#include <pthread.h>

#include <chrono>

#include "device/Tracepoints.h"
#include "deviceapi/Contained.h"

namespace
{

/// Opens the latch however its scope is left: the library may even end the worker, and whoever ends the listener waits.
struct Opener
{
    ~Opener() { latch.count_down(); }
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
    // Signalled under the lock: the wait has no predicate, so a signal that came late, after the worker has seen
    // `dirty` and saved, would be taken for another request.
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
        const Opener opener{listening};
        static_cast<void>(startListening()); // a device that lacks something is kept, and idle
        TRACE(listener_ready, device.ptr, stepsTaken);
    }

    std::unique_lock lock(mutex);
    while (running)
    {
        if (!dirty)
        {
            wakeup.wait(lock); // once: a wake-up counts as a request
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
    ++stepsTaken;
    contained([&] { static_cast<void>(deviceState->PrepareDevice()); });
    static_cast<void>(subscribe());
    return S_OK;
}

bool PreferenceChangeListener::subscribe()
{
    query(device, IID_ITessarigConfiguration, &configuration);
    if (!configuration)
        return false;
    ++stepsTaken;
    query(configuration, IID_ITessarigHardwareState, &hardwareState);
    if (!hardwareState)
        return false;
    ++stepsTaken;
    query(device, IID_ITessarigNotification, &notification);
    if (!notification)
        return false;
    ++stepsTaken;

    // Settings changes come last: when the first save can be asked for, all else stands.
    for (const uint32_t topic : {Topic::hwic, Topic::hwiC, Topic::setd})
    {
        if (contained([&] { return notification->Subscribe(topic, this); }, E_FAIL) != S_OK)
            return false;
        ++stepsTaken;
    }
    return true;
}

void PreferenceChangeListener::save()
{
    if (!hardwareState)
        return; // a chance wake-up on a device that never got into listening
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
