#pragma once

#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "device/PreferenceChangeListener.h"
#include "device/TessarigNotifier.h"
#include "deviceapi/TessarigAPI.h"
#include "preferences/SharedPreferenceMutex.h"

/// Owns everything that lives while the daemon runs: the shared mutex, the link to the library, the listeners, and the
/// groups of devices that wait to be complete.
///
/// One instance, made, started once and destroyed on the main thread. The destructor is the whole orderly stop, from
/// any state: it blocks until every group thread and every listener has ended its work in progress. Nothing is
/// reported: whatever start() could not do, the object stands and can be destroyed.
class OstrivaneHelper
{
public:
    /// Devices of one sub-device group, in the order of their arrival. Each entry owns a reference.
    using DeviceList = std::list<COMPtr<ITessarig>>;

    OstrivaneHelper() = default;
    OstrivaneHelper(const OstrivaneHelper&) = delete;
    OstrivaneHelper& operator=(const OstrivaneHelper&) = delete;
    virtual ~OstrivaneHelper();

    /// Gives a plain device a listener, or gathers a member of a group and starts the group's thread when the group is
    /// complete; if it has been complete before, waits for that time's thread. Called on the library's threads, also
    /// before start() has returned. Takes `listenersMutex` or, for a member, `groupMutex`, also while it waits. Throws
    /// if no thread can be had; then the devices concerned have no listener.
    virtual void deviceArrived(const COMPtr<ITessarig>& device);

    /// Ends the newest listener of the device, if there is one, and waits for its worker; a member also leaves its
    /// group, and its group's thread is waited for. Called on the library's threads, after the arrival of the same
    /// device has returned. Takes `listenersMutex`, but not while it waits for a worker, and then `groupMutex`.
    virtual void deviceRemoved(const COMPtr<ITessarig>& device);

    /// Opens the shared mutex, migrates the system-wide preference file and begins to watch for devices. If the mutex
    /// can't be had, none of the rest happens and no device is ever seen.
    void start();

    /// Makes the listeners of a complete group, in the order in which the library names the members' peers. Runs on the
    /// group's own thread, to which alone `members` belongs. Takes `listenersMutex` and must never take `groupMutex`:
    /// whoever joins this thread holds it.
    void groupWorker(DeviceList& members);

    // In the order of their dependence: what stands further down goes first. The group threads and the listeners, which
    // use the mutex and are fed by the notifier, are ended by the destructor's body before any member goes.
    TessarigNotifier notifier;
    /// The newest first. Each entry owns its listener's initial reference.
    std::list<PreferenceChangeListener*> listeners;
    std::mutex listenersMutex; ///< Guards `listeners`. Never taken by a listener's worker.
    SharedPreferenceMutex preferenceMutex;
    /// The members of each group that have arrived since it was last complete. No list is empty.
    std::map<int64_t, DeviceList> gatheredDevices;
    /// The thread that each complete group was given. It may have ended, but is not joined yet.
    std::map<int64_t, std::thread> groupThreads;
    /// Guards the two maps, and is held while a group thread is joined. Never taken by a group thread or a listener's
    /// worker, nor by anybody who holds `listenersMutex`.
    std::mutex groupMutex;

private:
    void addListener(const COMPtr<ITessarig>& device);
    bool endListenerOf(const COMPtr<ITessarig>& device);
    void endListeners();

    void gather(const COMPtr<ITessarig>& device);
    void leaveGroup(const COMPtr<ITessarig>& device, int64_t groupId);
    void startGroupThread(int64_t groupId, DeviceList members);
    void joinGroupThread(int64_t groupId);
    void endGroups();

    bool sweep(DeviceList& members);
    void listenToFirstWith(int64_t peerId, DeviceList& members);
};
