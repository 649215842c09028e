#include <algorithm>

#include "device/OstrivaneHelper.h"
#include "deviceapi/Contained.h"

namespace
{

/// A device whose peer id can't be read, or changes meanwhile, may leave a sweep without a match. The next one may have
/// it, but a device that never settles must not keep a removal or a stop waiting.
constexpr int mostIdleSweeps = 8;

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
    for (int idleSweeps = 0; !members.empty() && idleSweeps < mostIdleSweeps;)
    {
        const size_t former = members.size();
        if (!sweep(members))
            return;
        idleSweeps = members.size() == former ? idleSweeps + 1 : 0;
    }
}

/// Makes the listeners of the lowest member and of those of its peers that are members, and takes them out of the list.
/// False if the lowest member lacks what that takes: then nobody who is left gets a listener.
bool OstrivaneHelper::sweep(DeviceList& members)
{
    COMPtr<ITessarig> current(lowestOf(members));
    if (!current)
        return true; // it gave no reference: it may in the next sweep
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
        listenToFirstWith(readAttribute(current, Attribute::peid), members);
    while (contained([&] { return iterator->Next(&peer); }, E_FAIL) == S_OK && peer &&
           contained([&] { return peer->GetDevice(&current); }, E_FAIL) == S_OK && current);
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
