#pragma once

#include <atomic>
#include <functional>

#include "deviceapi/TessarigAPI.h"

/// The link to the library's device discovery: turns its callbacks into calls of two callables.
///
/// A member of its owner, never allocated by itself: the initial reference is never given back, so it stays as long as
/// the library gives back no more references than it took. start(), uninstall() and the destructor belong to the main
/// thread; DeviceArrived and DeviceRemoved come on threads of the library, several at once, from within start() on
/// until uninstall() returns.
class TessarigNotifier final : public ITessarigDeviceNotificationCallback
{
public:
    /// Gets the device for the time of the call; whoever keeps it copies the COMPtr. May be called on several threads
    /// at once. An exception ends here and does not reach the library.
    using DeviceCallback = std::function<void(const COMPtr<ITessarig>&)>;

    TessarigNotifier() = default;
    TessarigNotifier(const TessarigNotifier&) = delete;
    TessarigNotifier& operator=(const TessarigNotifier&) = delete;

    /// Keeps copies of the two and installs itself at the library. Reports nothing: if the library is missing or
    /// refuses, no device ever comes.
    void start(const DeviceCallback& arrival, const DeviceCallback& removal);
    void install();
    /// No callback runs or comes once it has returned. Does nothing if there is nothing to uninstall.
    void uninstall();

    ResultCode QueryInterface(InterfaceId iid, void** out) override;
    int64_t AddRef() override;
    int64_t Release() override;
    ResultCode DeviceArrived(ITessarig* device) override;
    ResultCode DeviceRemoved(ITessarig* device) override;

    virtual ~TessarigNotifier();

    DeviceCallback arrivalCallback;
    DeviceCallback removalCallback;
    COMPtr<ITessarigDiscovery> discovery;
    std::atomic<int64_t> refCount = 1;
};
