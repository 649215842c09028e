#pragma once

#include "device/PreferenceChangeListener.h"
#include "device/TessarigNotifier.h"
#include "deviceapi/TessarigAPI.h"
#include "preferences/SharedPreferenceMutex.h"

#include <list>
#include <mutex>

/// Owns everything that lives while the daemon runs: the shared mutex, the link to the library, the listeners.
///
/// One instance, made, started once and destroyed on the main thread. The destructor is the whole orderly stop, from
/// any state: it blocks until every listener has ended its save in progress. Nothing is reported: whatever start()
/// could not do, the object stands and can be destroyed.
class OstrivaneHelper
{
public:
    OstrivaneHelper() = default;
    OstrivaneHelper(const OstrivaneHelper&) = delete;
    OstrivaneHelper& operator=(const OstrivaneHelper&) = delete;
    virtual ~OstrivaneHelper();

    /// Gives the device a listener. Called on the library's threads, also before start() has returned. Takes
    /// `listenersMutex`. Throws if no thread can be had for the listener; then there is none.
    virtual void deviceArrived(const COMPtr<ITessarig>& device);

    /// Ends the newest listener of the device, if there is one, and waits for its worker. Called on the library's
    /// threads, after the arrival of the same device has returned. Takes `listenersMutex`, but not while it waits.
    virtual void deviceRemoved(const COMPtr<ITessarig>& device);

    /// Opens the shared mutex and begins to watch for devices. If the mutex can't be had, no device is ever seen.
    void start();

    // In the order of their dependence: what stands further down goes first. The listeners, which use the mutex and are
    // fed by the notifier, are ended by the destructor's body before any member goes.
    TessarigNotifier notifier;
    /// The newest first. Each entry owns its listener's initial reference.
    std::list<PreferenceChangeListener*> listeners;
    std::mutex listenersMutex; ///< Guards `listeners`. Never taken by a listener's worker.
    SharedPreferenceMutex preferenceMutex;

private:
    void addListener(const COMPtr<ITessarig>& device);
    void endListeners();
};
