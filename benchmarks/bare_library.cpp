#include <cstdlib>
#include <memory>

#include "benchmarks/BareDevice.h"

// A device library that costs next to nothing: it reports as many plain cards as BARE_LIBRARY_CARDS says, once it is
// watched, and nothing ever happens on them. It has no threads. The cards are made when the first factory is called.

namespace
{

class BareCard final : public BareDevice
{
};

class Library final : public ITessarigAPIInformation, public ITessarigDiscovery
{
public:
    Library()
    {
        const char* text = getenv("BARE_LIBRARY_CARDS");
        count = text ? strtoul(text, nullptr, 10) : 0;
        cards = std::make_unique<BareCard[]>(count);
    }

    ResultCode QueryInterface(InterfaceId, void**) override { return E_NOINTERFACE; }
    int64_t AddRef() override { return 1; }
    int64_t Release() override { return 1; }

    ResultCode GetInt(uint32_t, int64_t*) override { return S_OK; }

    ResultCode InstallDeviceNotifications(ITessarigDeviceNotificationCallback* callback) override
    {
        for (size_t i = 0; i < count; ++i)
            static_cast<void>(callback->DeviceArrived(&cards[i]));
        return S_OK;
    }

    ResultCode UninstallDeviceNotifications() override { return S_OK; }

private:
    size_t count = 0;
    std::unique_ptr<BareCard[]> cards;
};

Library& library()
{
    static Library library;
    return library;
}

}

extern "C"
{
    ITessarigAPIInformation* CreateTessarigAPIInformationInstance_0001() { return &library(); }
    ITessarigDiscovery* CreateTessarigDiscoveryInstance_0003() { return &library(); }
    IUnknown* CreateTessarigIteratorInstance_0004() { return nullptr; }
    IUnknown* CreateVideoConversionInstance_0003() { return nullptr; }
    IUnknown* CreateVideoFrameAncillaryPacketsInstance_0002() { return nullptr; }
}
