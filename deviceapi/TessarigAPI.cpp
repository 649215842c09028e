#include "deviceapi/TessarigAPI.h"

int64_t readAttribute(const COMPtr<ITessarig>& device, uint32_t id)
{
    int64_t value = 0;
    const COMPtr<ITessarigAttributes> attributes(device, IID_ITessarigAttributes);
    if (attributes)
        static_cast<void>(contained([&] { return attributes->GetInt(id, &value); }, E_FAIL)); // which leaves the 0
    return value;
}
