#include "device/OstrivaneHelper.h"

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <memory>

#include "device/DeviceAttribute.h"
#include "device/Tracepoints.h"
#include "deviceapi/Contained.h"
#include "preferences/PreferenceUpdater.h"

namespace
{

/// Waits for the listener's worker. No other thread may find the listener any more.
void stop(PreferenceChangeListener* listener)
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
    joinGroupThreads();   // until then a group's thread may add listeners
    stopListeners();
}

void OstrivaneHelper::start()
{
    if (!preferenceMutex.open(true))
        return;
    // Freed after the notifier's start, which doesn't use it: no device waits until a large table is freed.
    auto updater = std::make_unique<PreferenceUpdater>(false);
    [[maybe_unused]] const int migration = updater->update(); // a file that stays as it was is no reason not to start
    TRACE(migration_end, migration, updater->changedCount, updater->failedCount);
    notifier.start([this](const COMPtr<ITessarig>& device) { deviceArrived(device); },
                   [this](const COMPtr<ITessarig>& device) { deviceRemoved(device); });
    updater.reset();
    malloc_trim(0); // gives back what a large file took: the process runs for months
}

void OstrivaneHelper::deviceArrived(const COMPtr<ITessarig>& device)
{
    if (!device)
        return; // the library passed none, or AddRef threw
    TRACE(device_arrived, device.ptr);
    const COMPtr<ITessarigGroupedDevice> member(device, IID_ITessarigGroupedDevice);
    if (member)
        gather(device);
    else
        addListener(device);
}

void OstrivaneHelper::deviceRemoved(const COMPtr<ITessarig>& device)
{
    TRACE(device_removed, device.ptr);
    const bool stopped = stopListenerOf(device);

    const COMPtr<ITessarigAttributes> attributes(device, IID_ITessarigAttributes);
    int64_t groupId = 0;
    if (!attributes || contained([&] { return attributes->GetInt(Attribute::dgid, &groupId); }, E_FAIL) != S_OK)
        return;
    removeFromGroup(device, groupId);
    // The group's thread may have made this device's listener after the first look.
    if (!stopped)
        stopListenerOf(device);
}

void OstrivaneHelper::addListener(const COMPtr<ITessarig>& device)
{
    // The list's node is allocated first: once the listener's worker runs, nothing here can fail.
    std::list<PreferenceChangeListener*> entry(1);
    entry.front() = new PreferenceChangeListener(&preferenceMutex, device);
    const std::lock_guard lock(listenersMutex);
    listeners.splice(listeners.begin(), entry);
}

bool OstrivaneHelper::stopListenerOf(const COMPtr<ITessarig>& device)
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
    stop(listener);
    return true;
}

void OstrivaneHelper::stopListeners()
{
    const std::lock_guard lock(listenersMutex);
    while (!listeners.empty())
    {
        stop(listeners.front());
        listeners.pop_front();
    }
}

void OstrivaneHelper::gather(const COMPtr<ITessarig>& device)
{
    const int64_t groupId = readAttribute(device, Attribute::dgid);
    const auto memberCount = static_cast<uint64_t>(readAttribute(device, Attribute::nsbd));
    DeviceList arrived(1, device);
    if (!arrived.front())
        return; // AddRef threw

    const std::lock_guard lock(groupMutex);
    DeviceList& gathered = gatheredDevices[groupId];
    gathered.splice(gathered.end(), arrived);
    if (gathered.size() < memberCount)
        return;
    TRACE(group_complete, groupId, gathered.size());
    DeviceList members = std::move(gathered);
    gatheredDevices.erase(groupId);
    joinGroupThread(groupId);
    startGroupThread(groupId, std::move(members));
}

void OstrivaneHelper::removeFromGroup(const COMPtr<ITessarig>& device, int64_t groupId)
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

void OstrivaneHelper::startGroupThread(int64_t groupId, DeviceList members)
{
    // The map's node is allocated first: a thread that runs has its entry, and one that can't be had leaves none.
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

void OstrivaneHelper::joinGroupThreads()
{
    const std::lock_guard lock(groupMutex);
    while (!groupThreads.empty())
        joinGroupThread(groupThreads.begin()->first);
}
