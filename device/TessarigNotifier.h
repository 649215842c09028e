#pragma once

#include <atomic>
#include <functional>

#include "deviceapi/TessarigAPI.h"

/// Tells its owner of each device that comes or goes: receives the library's callbacks and calls two callables.
///
/// Main thread, but for DeviceArrived and DeviceRemoved: these come on library threads, from within start() until
/// uninstall() has returned.
///
/// A member of its owner, never allocated by itself. The initial reference is never released, so the object is never
/// deleted as long as the library releases no more references than it took.
class TessarigNotifier final : public ITessarigDeviceNotificationCallback
{
public:
    /// Receives the device for the time of the call; whoever keeps it copies the COMPtr. Library threads. What it
    /// throws is swallowed.
    using DeviceCallback = std::function<void(const COMPtr<ITessarig>&)>;

    TessarigNotifier() = default;
    TessarigNotifier(const TessarigNotifier&) = delete;
    TessarigNotifier& operator=(const TessarigNotifier&) = delete;

    /// Copies the two callables and calls install().
    void start(const DeviceCallback& arrival, const DeviceCallback& removal);
    /// Asks the library for device notifications. Reports no failure: if the library is missing or refuses, no device
    /// ever comes. Does nothing if it is installed.
    void install();
    /// No callback runs or comes once it has returned. Does nothing if it is not installed.
    void uninstall();

    ResultCode QueryInterface(InterfaceId iid, void** out) override;
    int64_t AddRef() override;
    int64_t Release() override;
    ResultCode DeviceArrived(ITessarig* device) override;
    ResultCode DeviceRemoved(ITessarig* device) override;

    virtual ~TessarigNotifier();

    // Public: tests look at the state directly.
    DeviceCallback arrivalCallback;
    DeviceCallback removalCallback;
    COMPtr<ITessarigDiscovery> discovery;
    std::atomic<int64_t> refCount = 1;
};
