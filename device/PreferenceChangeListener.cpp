#include "device/PreferenceChangeListener.h"

#include <pthread.h>

#include "device/Tracepoints.h"
#include "deviceapi/Contained.h"

namespace
{

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

/// The topics that a listener lives on, in the order in which it unsubscribes from them, and what it does about each.
const PreferenceChangeListener::ListenedTopic PreferenceChangeListener::topics[] = {
    {Topic::setd, &PreferenceChangeListener::requestSave},
    {Topic::hwic, &PreferenceChangeListener::forward},
    {Topic::hwiC, &PreferenceChangeListener::forwardExtended},
};

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
    for (const ListenedTopic& listened : topics)
        contained([&] { static_cast<void>(notification->Unsubscribe(listened.topic, this)); });
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
    for (const ListenedTopic& listened : topics)
        if (listened.topic == topic)
            (this->*listened.handle)(param1, param2);
    return S_OK;
}

void PreferenceChangeListener::requestSave(int64_t, int64_t)
{
    // Signalled under the lock: the worker counts each wake-up as a request, and would count a signal that came after
    // it has seen `dirty` as another.
    const std::lock_guard lock(mutex);
    dirty = true;
    wakeup.notify_one();
}

void PreferenceChangeListener::forward(int64_t param1, int64_t)
{
    forwardBy([&] { return hardwareState->HandleHardwareNotification(static_cast<uint32_t>(param1)); });
}

void PreferenceChangeListener::forwardExtended(int64_t param1, int64_t param2)
{
    forwardBy([&] { return hardwareState->HandleHardwareNotificationEx(static_cast<uint32_t>(param1), param2); });
}

template <typename Call>
void PreferenceChangeListener::forwardBy(Call call)
{
    if (hardwareState && contained(call, -1) >= 0)
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

    while (waitForRequest())
    {
        std::this_thread::sleep_for(settleTime);
        save();
    }
}

/// False if the listener is being stopped.
bool PreferenceChangeListener::waitForRequest()
{
    const std::lock_guard lock(mutex);
    if (running && !dirty)
    {
        // On the guard's lock, as the check of locks does not know this kind. Without a condition: each wake-up counts
        // as a request.
        std::unique_lock waiting(mutex, std::adopt_lock);
        wakeup.wait(waiting);
        waiting.release();
    }
    dirty = false;
    return running;
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

    // The first topic, settings changes, comes last: when the first save can be requested, all else is in place.
    for (size_t i = 1; i <= std::size(topics); ++i)
    {
        const uint32_t topic = topics[i % std::size(topics)].topic;
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
