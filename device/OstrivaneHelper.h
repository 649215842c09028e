#pragma once

#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "device/PreferenceChangeListener.h"
#include "device/TessarigNotifier.h"
#include "deviceapi/TessarigAPI.h"
#include "deviceapi/ThreadAnnotations.h"
#include "preferences/SharedPreferenceMutex.h"

/// Gives each device that the library reports a listener, and gathers the devices of a group until it is complete. Owns
/// the shared mutex, the notifier, the listeners and the groups.
///
/// Main thread, but for the operations that say otherwise.
///
/// One instance, started once. The destructor is the whole orderly stop, from any state: it waits until each group's
/// thread and each listener's worker has finished. start() reports no failure: whatever it could not do, the object can
/// be destroyed.
class OstrivaneHelper
{
public:
    /// Devices of one group, in the order of their arrival. Each entry owns a reference.
    using DeviceList = std::list<COMPtr<ITessarig>>;

    OstrivaneHelper() = default;
    OstrivaneHelper(const OstrivaneHelper&) = delete;
    OstrivaneHelper& operator=(const OstrivaneHelper&) = delete;
    virtual ~OstrivaneHelper();

    /// Gives a plain device a listener, or gathers a member of a group and starts the group's thread once the group is
    /// complete; if it was complete before, waits for that time's thread. Library threads, also before start() has
    /// returned. Takes `listenersMutex` or, for a member, `groupMutex`, also while it waits. Throws if no thread can be
    /// had; then the devices concerned have no listener.
    virtual void deviceArrived(const COMPtr<ITessarig>& device) EXCLUDES(groupMutex, listenersMutex);

    /// Stops the newest listener of the device, if there is one, and waits for its worker; a member also leaves its
    /// group, and its group's thread is waited for. Library threads, after the arrival of the same device has returned.
    /// Takes `listenersMutex`, but not while it waits for a worker, and then `groupMutex`.
    virtual void deviceRemoved(const COMPtr<ITessarig>& device) EXCLUDES(groupMutex, listenersMutex);

    /// Opens the shared mutex, migrates the system-wide preference file and begins to watch for devices. If the mutex
    /// can't be had, none of the rest happens and no device is ever seen.
    void start();

    /// Makes the listeners of a complete group, in the order in which the library names the members' peers. The group's
    /// thread, which alone uses `members`. Takes `listenersMutex`, and never `groupMutex`, which is held by whoever
    /// joins this thread.
    void groupWorker(DeviceList& members) EXCLUDES(groupMutex, listenersMutex);

    // Public: tests look at the state directly. The order is that of the teardown, from the last to the first; the
    // groups' threads and the listeners, which use these members, are stopped by the destructor's body before that.
    TessarigNotifier notifier;
    /// The newest first. Each entry owns its listener's initial reference.
    std::list<PreferenceChangeListener*> listeners GUARDED_BY(listenersMutex);
    std::mutex listenersMutex; ///< Never taken by a worker: whoever joins one may hold it.
    SharedPreferenceMutex preferenceMutex;
    /// By the group's id, the members that have arrived since it was last complete. No list is empty.
    std::map<int64_t, DeviceList> gatheredDevices GUARDED_BY(groupMutex);
    /// By the group's id, the thread that was started when the group was complete. It may have ended, but is not
    /// joined.
    std::map<int64_t, std::thread> groupThreads GUARDED_BY(groupMutex);
    /// Held while a group's thread is joined. Never taken by a group's thread or a worker, nor by anybody who holds
    /// `listenersMutex`.
    std::mutex groupMutex;

private:
    void addListener(const COMPtr<ITessarig>& device) EXCLUDES(listenersMutex);
    bool stopListenerOf(const COMPtr<ITessarig>& device) EXCLUDES(listenersMutex);
    void stopListeners() EXCLUDES(listenersMutex);

    void gather(const COMPtr<ITessarig>& device) EXCLUDES(groupMutex);
    void removeFromGroup(const COMPtr<ITessarig>& device, int64_t groupId) EXCLUDES(groupMutex);
    void startGroupThread(int64_t groupId, DeviceList members) REQUIRES(groupMutex);
    void joinGroupThread(int64_t groupId) REQUIRES(groupMutex);
    void joinGroupThreads() EXCLUDES(groupMutex);

    bool sweep(DeviceList& members);
    void addListenerWithPeerId(int64_t peerId, DeviceList& members);
};
