#include "device/TessarigNotifier.h"

#include "deviceapi/ApiLoader.h"
#include "deviceapi/Contained.h"

namespace
{

/// What goes into the query for event notifications; the library gives the number no other meaning to us.
constexpr int64_t notificationRequest = 3;

ResultCode report(const TessarigNotifier::DeviceCallback& callback, ITessarig* device)
{
    if (callback)
        contained([&] { callback(COMPtr<ITessarig>(device)); }); // a device without a thread goes without a listener
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

/// The library has no use for any other face of this object, so there is none.
ResultCode TessarigNotifier::QueryInterface(InterfaceId, void**) { return E_NOINTERFACE; }

int64_t TessarigNotifier::AddRef() { return ++refCount; }

int64_t TessarigNotifier::Release()
{
    const int64_t count = --refCount;
    if (count == 0)
        delete this;
    return count;
}

ResultCode TessarigNotifier::DeviceArrived(ITessarig* device) { return report(arrivalCallback, device); }

ResultCode TessarigNotifier::DeviceRemoved(ITessarig* device) { return report(removalCallback, device); }
