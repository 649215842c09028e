#include <algorithm>

#include "device/DeviceAttribute.h"
#include "device/OstrivaneHelper.h"
#include "deviceapi/Contained.h"

namespace
{

/// How many sweeps in a row may find no member. A device whose peer id can't be read, or changes meanwhile, may be
/// found by the next sweep, but must not keep a removal or a stop waiting for ever.
constexpr int maxIdleSweeps = 8;

/// The member with the lowest place in the group; of several, the first to arrive. Places are read at each comparison,
/// as a device may change its own.
const COMPtr<ITessarig>& lowestMember(const OstrivaneHelper::DeviceList& members)
{
    return *std::min_element(members.begin(), members.end(),
                             [](const COMPtr<ITessarig>& member, const COMPtr<ITessarig>& candidate)
                             {
                                 const int64_t place = readAttribute(member, Attribute::subi);
                                 return place < readAttribute(candidate, Attribute::subi);
                             });
}

}

void OstrivaneHelper::groupWorker(DeviceList& members)
{
    for (int idleSweeps = 0; !members.empty() && idleSweeps < maxIdleSweeps;)
    {
        const size_t former = members.size();
        if (!sweep(members))
            return;
        idleSweeps = members.size() == former ? idleSweeps + 1 : 0;
    }
}

/// Gives the lowest member and those of its peers that are members listeners, and takes them out of the list. False if
/// the lowest member lacks an interface that this needs: then the members that are left get no listener.
bool OstrivaneHelper::sweep(DeviceList& members)
{
    COMPtr<ITessarig> current(lowestMember(members));
    if (!current)
        return true; // AddRef threw: the next sweep tries again
    const COMPtr<ITessarigHardwareState> hardware(current, IID_ITessarigHardwareState);
    if (!hardware)
        return false;
    contained([&] { static_cast<void>(hardware->PrepareGroup()); });

    COMPtr<ITessarigPeerDevice> peer(current, IID_ITessarigPeerDevice);
    COMPtr<ITessarigPeerIterator> iterator;
    if (peer)
        contained([&] { static_cast<void>(peer->GetPeerIterator(&iterator)); });
    if (!iterator)
        return false;
    do
        addListenerWithPeerId(readAttribute(current, Attribute::peid), members);
    while (contained([&] { return iterator->Next(&peer); }, E_FAIL) == S_OK && peer &&
           contained([&] { return peer->GetDevice(&current); }, E_FAIL) == S_OK && current);
    return true;
}

void OstrivaneHelper::addListenerWithPeerId(int64_t peerId, DeviceList& members)
{
    const auto member = std::find_if(members.begin(), members.end(),
                                     [&](const COMPtr<ITessarig>& candidate)
                                     { return readAttribute(candidate, Attribute::peid) == peerId; });
    if (member == members.end())
        return;
    contained([&] { addListener(*member); }); // if no thread can be had, this member alone has no listener
    members.erase(member);
}
