#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "deviceapi/TessarigAPI.h"
#include "preferences/SharedPreferenceMutex.h"

/// Stands beside one device for as long as the system tracks it, and saves the device's state when asked.
///
/// The library calls Notify on threads of its own; saving happens on the worker. The owner ends a listener with
/// unsubscribe() and then Release(); the last Release joins the worker, so it must never run on the worker itself, and
/// it waits for a save in progress, also for another process that holds the SharedPreferenceMutex.
///
/// Any number of setd notifications before the worker takes the request up lead to one save, and those from then until
/// the save is done to exactly one more: the last save always begins after the last notification. A stop drops what was
/// not taken up.
class PreferenceChangeListener final : public ITessarigNotificationCallback
{
public:
    /// Between a request and its save: changes that come in one go are saved in two goes at the most.
    static constexpr std::chrono::nanoseconds settleTime{500'000};

    /// Starts the worker, which prepares and subscribes on its own; returns without waiting for that. `preferenceMutex`
    /// must outlive the listener. Throws std::system_error if no thread can be had; then nothing is left behind.
    PreferenceChangeListener(SharedPreferenceMutex* preferenceMutex, const COMPtr<ITessarig>& device);
    PreferenceChangeListener(const PreferenceChangeListener&) = delete;
    PreferenceChangeListener& operator=(const PreferenceChangeListener&) = delete;

    /// Compares raw pointers: that is what a device is known by. Safe from any thread.
    bool isDevice(const COMPtr<ITessarig>& other) const;

    /// Ends the subscriptions; after it the library does not call any more. Waits until the worker has made them, so
    /// that a device that goes right after it came leaves none behind. Not on the worker or inside Notify; the caller
    /// holds no lock that a library callback needs.
    void unsubscribe();

    /// Gives out no reference: the caller borrows the pointer.
    ResultCode QueryInterface(InterfaceId iid, void** out) override;
    int64_t AddRef() override;
    int64_t Release() override;

    /// Called on threads of the library, several at once. A settings change takes `mutex` and signals the worker;
    /// a hardware notification goes on into the device at once, without a lock. Always S_OK.
    ResultCode Notify(uint32_t topic, int64_t param1, int64_t param2) override;

    virtual ~PreferenceChangeListener();

    // The fields are released from the last to the first: the worker's tools, then the device's interfaces, then the
    // device. The three interfaces are written once, on the worker, before the first subscription, and are empty until
    // then and if the device lacks them.
    COMPtr<ITessarig> device;
    COMPtr<ITessarigConfiguration> configuration;
    COMPtr<ITessarigHardwareState> hardwareState; ///< That of `configuration`, not of `device`.
    COMPtr<ITessarigNotification> notification;
    std::atomic<int64_t> refCount = 1; ///< The first reference is the owner's.
    std::thread thread;
    std::mutex mutex;    ///< Guards `running` and `dirty`. Never held across a library call or another lock.
    bool running = true; ///< Cleared by the stop.
    bool dirty = false;  ///< A save is asked for.
    std::condition_variable wakeup;
    SharedPreferenceMutex* preferenceMutex;
    std::latch listening{1}; ///< Open once startListening has ended, however it ended.
    int stepsTaken = 0;      ///< Of startListening's seven, as the tracepoint tells them. The worker's alone.

private:
    void workerLoop();
    ResultCode startListening();
    bool subscribe();
    void save();
    void requestSave();
    void forward(uint32_t topic, uint32_t value, int64_t extra);
};
