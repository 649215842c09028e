#include "device/TessarigNotifier.h"

#include "deviceapi/ApiLoader.h"
#include "deviceapi/Contained.h"

namespace
{

/// What the library expects in the variable of the query for `eicf`.
constexpr int64_t notificationRequest = 3;

ResultCode deliver(const TessarigNotifier::DeviceCallback& callback, ITessarig* device)
{
    if (callback)
        contained([&] { callback(COMPtr<ITessarig>(device)); }); // it throws if no thread can be had
    return S_OK;
}

}

TessarigNotifier::~TessarigNotifier() { uninstall(); }

void TessarigNotifier::start(const DeviceCallback& arrival, const DeviceCallback& removal)
{
    arrivalCallback = arrival;
    removalCallback = removal;
    install();
}

void TessarigNotifier::install()
{
    if (discovery)
        return;
    COMPtr<ITessarigAPIInformation> information;
    information.attach(CreateTessarigAPIInformationInstance());
    if (!information)
        return;
    discovery.attach(CreateTessarigDiscoveryInstance());
    if (!discovery)
        return;
    int64_t value = notificationRequest;
    if (contained([&] { return information->GetInt(Information::eicf, &value); }, E_FAIL) == S_OK)
        contained([this] { static_cast<void>(discovery->InstallDeviceNotifications(this)); }); // failed: no devices
}

void TessarigNotifier::uninstall()
{
    if (!discovery)
        return;
    contained([this] { static_cast<void>(discovery->UninstallDeviceNotifications()); });
    discovery.attach(nullptr);
}

/// Offers no interface: the library needs none beyond the one that it was handed.
ResultCode TessarigNotifier::QueryInterface(InterfaceId, void**) { return E_NOINTERFACE; }

int64_t TessarigNotifier::AddRef() { return ++refCount; }

int64_t TessarigNotifier::Release()
{
    const int64_t count = --refCount;
    if (count == 0)
        delete this;
    return count;
}

ResultCode TessarigNotifier::DeviceArrived(ITessarig* device) { return deliver(arrivalCallback, device); }

ResultCode TessarigNotifier::DeviceRemoved(ITessarig* device) { return deliver(removalCallback, device); }
