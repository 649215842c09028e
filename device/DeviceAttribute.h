#pragma once

#include "deviceapi/TessarigAPI.h"

/// Reads an attribute with a query of its own. 0 if the device is empty or the read fails. Any thread.
inline int64_t readAttribute(const COMPtr<ITessarig>& device, uint32_t id)
{
    int64_t value = 0;
    const COMPtr<ITessarigAttributes> attributes(device, IID_ITessarigAttributes);
    if (attributes)
        static_cast<void>(contained([&] { return attributes->GetInt(id, &value); }, E_FAIL)); // which leaves the 0
    return value;
}
