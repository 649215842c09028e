#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "deviceapi/TessarigAPI.h"
#include "deviceapi/ThreadAnnotations.h"
#include "preferences/SharedPreferenceMutex.h"

/// Saves one device's settings whenever the device reports a change, and forwards its hardware's notifications into it.
///
/// Library threads call Notify; a worker, a thread of the listener's own, saves.
///
/// The owner stops a listener by unsubscribe() and then Release(). The last Release joins the worker, so it is never
/// called on the worker, and waits for a save in progress, also while another process holds the SharedPreferenceMutex.
///
/// Any number of setd notifications before the worker begins a save lead to that one save, and those from then until
/// its end to exactly one more: the last save always begins after the last notification. A stop drops a save not yet
/// begun.
class PreferenceChangeListener final : public ITessarigNotificationCallback
{
public:
    /// The worker's sleep between a request and its save, so that changes that come together need two saves at most.
    static constexpr std::chrono::nanoseconds settleTime{500'000};

    /// Starts the worker, which prepares the device and subscribes; returns without waiting for that. `preferenceMutex`
    /// must outlive the listener. Library threads and groups' threads. Throws std::system_error if no thread can be
    /// had.
    PreferenceChangeListener(SharedPreferenceMutex* preferenceMutex, const COMPtr<ITessarig>& device);
    PreferenceChangeListener(const PreferenceChangeListener&) = delete;
    PreferenceChangeListener& operator=(const PreferenceChangeListener&) = delete;

    /// Compares raw pointers: those identify a device. Any thread.
    bool isDevice(const COMPtr<ITessarig>& other) const;

    /// Ends the subscriptions; when it has returned, no Notify runs or comes. First waits for the end of
    /// startListening, so that a device that goes right after it came leaves no subscription behind. Library threads or
    /// the main thread, but not inside Notify; the caller holds no lock that a library callback needs.
    void unsubscribe();

    // Any thread, all three. QueryInterface gives no reference: the caller borrows the pointer.
    ResultCode QueryInterface(InterfaceId iid, void** out) override;
    int64_t AddRef() override;
    int64_t Release() override;

    /// Wakes the worker for a change of settings; forwards a hardware notification into the device at once, without a
    /// lock; ignores all other topics. Library threads. Always S_OK.
    ResultCode Notify(uint32_t topic, int64_t param1, int64_t param2) override;

    virtual ~PreferenceChangeListener();

    // Public: tests look at the state directly. The order is that of the teardown, from the last to the first. The
    // three interfaces behind the device are written once, on the worker, before the first subscription; they are empty
    // until then, and stay empty if the device lacks them.
    COMPtr<ITessarig> device;
    COMPtr<ITessarigConfiguration> configuration;
    COMPtr<ITessarigHardwareState> hardwareState; ///< That of `configuration`, not of `device`.
    COMPtr<ITessarigNotification> notification;
    std::atomic<int64_t> refCount = 1; ///< The first reference is the owner's.
    std::thread thread;
    std::mutex mutex;                      ///< Never held across a library call or another lock.
    bool running GUARDED_BY(mutex) = true; ///< Cleared by the destructor.
    bool dirty GUARDED_BY(mutex) = false;  ///< A save has been requested and not yet begun.
    std::condition_variable wakeup;
    SharedPreferenceMutex* preferenceMutex;
    std::latch listening{1}; ///< Open once startListening has ended, however it ended.
    int startSteps = 0;      ///< How far startListening got, for the tracepoint. Used by the worker alone.

private:
    struct ListenedTopic
    {
        uint32_t topic;
        void (PreferenceChangeListener::*handle)(int64_t param1, int64_t param2);
    };
    static const ListenedTopic topics[];

    // On the worker.
    void workerLoop() EXCLUDES(mutex);
    ResultCode startListening();
    bool subscribe();
    bool waitForRequest() EXCLUDES(mutex);
    void save() EXCLUDES(mutex);

    // On library threads, with the parameters of Notify.
    void requestSave(int64_t param1, int64_t param2) EXCLUDES(mutex);
    void forward(int64_t param1, int64_t param2);
    void forwardExtended(int64_t param1, int64_t param2);
    template <typename Call>
    void forwardBy(Call call);
};
