#include "device/OstrivaneHelper.h"

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <memory>

#include "deviceapi/Contained.h"
#include "preferences/PreferenceUpdater.h"

namespace
{

/// The caller has made sure that nobody finds the listener any more; this waits for its worker.
void end(PreferenceChangeListener* listener)
{
    listener->unsubscribe();
    listener->Release();
}

/// Names the calling thread after its group, for debuggers and top.
void nameThread(int64_t groupId)
{
    char name[16];
    snprintf(name, sizeof name, "group %" PRId64, groupId);
    pthread_setname_np(pthread_self(), name);
}

}

OstrivaneHelper::~OstrivaneHelper()
{
    notifier.uninstall(); // from here on no device comes or goes
    endGroups();          // a group at work still adds listeners
    endListeners();
}

void OstrivaneHelper::start()
{
    if (!preferenceMutex.open(true))
        return;
    auto updater = std::make_unique<PreferenceUpdater>(false);
    static_cast<void>(updater->update()); // a file that stays as it was is no reason not to start
    notifier.start([this](const COMPtr<ITessarig>& device) { deviceArrived(device); },
                   [this](const COMPtr<ITessarig>& device) { deviceRemoved(device); });
    updater.reset();
    malloc_trim(0); // what a large file took must not weigh on a process that runs for months
}

void OstrivaneHelper::deviceArrived(const COMPtr<ITessarig>& device)
{
    if (!device)
        return; // it gave no reference, or was none
    const COMPtr<ITessarigGroupedDevice> member(device, IID_ITessarigGroupedDevice);
    if (member)
        gather(device);
    else
        addListener(device);
}

void OstrivaneHelper::deviceRemoved(const COMPtr<ITessarig>& device)
{
    const bool ended = endListenerOf(device);

    const COMPtr<ITessarigAttributes> attributes(device, IID_ITessarigAttributes);
    int64_t groupId = 0;
    if (!attributes || contained([&] { return attributes->GetInt(Attribute::dgid, &groupId); }, E_FAIL) != S_OK)
        return;
    leaveGroup(device, groupId);
    // The group's thread may have made this device's listener after the first look.
    if (!ended)
        endListenerOf(device);
}

void OstrivaneHelper::addListener(const COMPtr<ITessarig>& device)
{
    // The list's node is made first: once the listener's worker runs, nothing here can fail any more.
    std::list<PreferenceChangeListener*> entry(1);
    entry.front() = new PreferenceChangeListener(&preferenceMutex, device);
    const std::lock_guard lock(listenersMutex);
    listeners.splice(listeners.begin(), entry);
}

bool OstrivaneHelper::endListenerOf(const COMPtr<ITessarig>& device)
{
    PreferenceChangeListener* listener = nullptr;
    {
        const std::lock_guard lock(listenersMutex);
        const auto entry = std::find_if(listeners.begin(), listeners.end(),
                                        [&](const auto* candidate) { return candidate->isDevice(device); });
        if (entry == listeners.end())
            return false;
        listener = *entry;
        listeners.erase(entry);
    }
    end(listener);
    return true;
}

void OstrivaneHelper::endListeners()
{
    const std::lock_guard lock(listenersMutex);
    while (!listeners.empty())
    {
        end(listeners.front());
        listeners.pop_front();
    }
}

void OstrivaneHelper::gather(const COMPtr<ITessarig>& device)
{
    const int64_t groupId = readAttribute(device, Attribute::dgid);
    const auto memberCount = static_cast<uint64_t>(readAttribute(device, Attribute::nsbd));
    DeviceList arrived(1, device);
    if (!arrived.front())
        return; // it gave no reference, and could not be found again

    const std::lock_guard lock(groupMutex);
    DeviceList& gathered = gatheredDevices[groupId];
    gathered.splice(gathered.end(), arrived);
    if (gathered.size() < memberCount)
        return;
    DeviceList members = std::move(gathered);
    gatheredDevices.erase(groupId);
    joinGroupThread(groupId);
    startGroupThread(groupId, std::move(members));
}

void OstrivaneHelper::leaveGroup(const COMPtr<ITessarig>& device, int64_t groupId)
{
    const std::lock_guard lock(groupMutex);
    if (const auto gathered = gatheredDevices.find(groupId); gathered != gatheredDevices.end())
    {
        gathered->second.remove(device);
        if (gathered->second.empty())
            gatheredDevices.erase(gathered);
    }
    joinGroupThread(groupId);
}

/// Called with `groupMutex` held, as is joinGroupThread.
void OstrivaneHelper::startGroupThread(int64_t groupId, DeviceList members)
{
    // The map's node is made first: a thread that can't be had leaves no entry, and one that runs has its entry.
    std::map<int64_t, std::thread> entry;
    std::thread& thread = entry[groupId];
    thread = std::thread(
        [this, groupId, members = std::move(members)]() mutable
        {
            nameThread(groupId);
            groupWorker(members);
        });
    groupThreads.merge(entry);
}

void OstrivaneHelper::joinGroupThread(int64_t groupId)
{
    const auto entry = groupThreads.find(groupId);
    if (entry == groupThreads.end())
        return;
    entry->second.join();
    groupThreads.erase(entry);
}

void OstrivaneHelper::endGroups()
{
    const std::lock_guard lock(groupMutex);
    while (!groupThreads.empty())
        joinGroupThread(groupThreads.begin()->first);
}
