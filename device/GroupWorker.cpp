#include <algorithm>

#include "device/Contained.h"
#include "device/OstrivaneHelper.h"

namespace
{

/// The member with the lowest place in the group; of several, the one that arrived first. The places are read anew for
/// each comparison: a device may change its own.
const COMPtr<ITessarig>& lowestOf(const OstrivaneHelper::DeviceList& members)
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
    // Each sweep takes a member out, but for one whose device changes its peer id meanwhile: that is the last, or the
    // work might never end.
    contained(
        [&]
        {
            for (size_t former = 0; !members.empty() && members.size() != former;)
            {
                former = members.size();
                if (!sweep(members))
                    return;
            }
        });
}

/// Makes the listeners of the lowest member and of those of its peers that are members, and takes them out of the list.
/// False if the lowest member lacks what that takes: then nobody who is left gets a listener.
bool OstrivaneHelper::sweep(DeviceList& members)
{
    COMPtr<ITessarig> current(lowestOf(members));
    const COMPtr<ITessarigHardwareState> hardware(current, IID_ITessarigHardwareState);
    if (!hardware)
        return false;
    contained([&] { static_cast<void>(hardware->PrepareGroup()); });

    COMPtr<ITessarigPeerDevice> peer(current, IID_ITessarigPeerDevice);
    COMPtr<ITessarigPeerIterator> iterator;
    if (peer)
        static_cast<void>(peer->GetPeerIterator(&iterator));
    if (!iterator)
        return false;
    do
        listenToFirstWith(readAttribute(current, Attribute::peid), members);
    while (iterator->Next(&peer) == S_OK && peer && peer->GetDevice(&current) == S_OK && current);
    return true;
}

void OstrivaneHelper::listenToFirstWith(int64_t peerId, DeviceList& members)
{
    const auto member = std::find_if(members.begin(), members.end(),
                                     [&](const COMPtr<ITessarig>& candidate)
                                     { return readAttribute(candidate, Attribute::peid) == peerId; });
    if (member == members.end())
        return;
    contained([&] { addListener(*member); }); // without a thread it goes without a listener, and the others go on
    members.erase(member);
}
