#include "deviceapi/TessarigAPI.h"

int64_t readAttribute(const COMPtr<ITessarig>& device, uint32_t id)
{
    int64_t value = 0;
    const COMPtr<ITessarigAttributes> attributes(device, IID_ITessarigAttributes);
    if (attributes)
        static_cast<void>(attributes->GetInt(id, &value)); // a failed read leaves the 0
    return value;
}
