#pragma once

#include "deviceapi/TessarigAPI.h"

/// A device that costs next to nothing: it counts no references, notes no call and has nothing to save, so that what is
/// measured is the daemon's part. Safe from any thread. Outlives whoever listens to it.
class BareDevice : public ITessarig,
                   public ITessarigAttributes,
                   public ITessarigHardwareState,
                   public ITessarigConfiguration,
                   public ITessarigNotification,
                   public ITessarigTopicBroadcaster
{
public:
    ResultCode QueryInterface(InterfaceId iid, void** out) override
    {
        if (iid == IID_ITessarigHardwareState)
            *out = static_cast<ITessarigHardwareState*>(this);
        else if (iid == IID_ITessarigConfiguration)
            *out = static_cast<ITessarigConfiguration*>(this);
        else if (iid == IID_ITessarigNotification)
            *out = static_cast<ITessarigNotification*>(this);
        else if (iid == IID_ITessarigTopicBroadcaster)
            *out = static_cast<ITessarigTopicBroadcaster*>(this);
        else if (iid == IID_ITessarigAttributes)
            *out = static_cast<ITessarigAttributes*>(this);
        else
            return E_NOINTERFACE;
        return S_OK;
    }

    int64_t AddRef() override { return 1; }
    int64_t Release() override { return 1; }

    /// A plain card: none of the attributes that are asked for.
    ResultCode GetInt(uint32_t, int64_t*) override { return E_FAIL; }

    int32_t HandleHardwareNotification(uint32_t) override { return 0; }
    int32_t HandleHardwareNotificationEx(uint32_t, int64_t) override { return 0; }
    ResultCode PersistState() override { return S_OK; }
    ResultCode PrepareDevice() override { return S_OK; }
    ResultCode PrepareGroup() override { return S_OK; }
    ResultCode HardwareNotificationHandled() override { return S_OK; }
    ResultCode Post(uint32_t, int64_t, int64_t) override { return S_OK; }
    ResultCode Subscribe(uint32_t, ITessarigNotificationCallback*) override { return S_OK; }
    ResultCode Unsubscribe(uint32_t, ITessarigNotificationCallback*) override { return S_OK; }

protected:
    ~BareDevice() = default;
};
