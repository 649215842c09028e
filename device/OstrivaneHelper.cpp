#include "device/OstrivaneHelper.h"

#include <algorithm>

namespace
{

/// The caller has made sure that nobody finds the listener any more; this waits for its worker.
void end(PreferenceChangeListener* listener)
{
    listener->unsubscribe();
    listener->Release();
}

}

OstrivaneHelper::~OstrivaneHelper()
{
    notifier.uninstall(); // from here on no device comes or goes
    endListeners();
}

void OstrivaneHelper::start()
{
    if (!preferenceMutex.open(true))
        return;
    notifier.start([this](const COMPtr<ITessarig>& device) { deviceArrived(device); },
                   [this](const COMPtr<ITessarig>& device) { deviceRemoved(device); });
}

void OstrivaneHelper::deviceArrived(const COMPtr<ITessarig>& device) { addListener(device); }

void OstrivaneHelper::deviceRemoved(const COMPtr<ITessarig>& device)
{
    PreferenceChangeListener* listener = nullptr;
    {
        const std::lock_guard lock(listenersMutex);
        const auto entry = std::find_if(listeners.begin(), listeners.end(),
                                        [&](const auto* candidate) { return candidate->isDevice(device); });
        if (entry == listeners.end())
            return;
        listener = *entry;
        listeners.erase(entry);
    }
    end(listener);
}

void OstrivaneHelper::addListener(const COMPtr<ITessarig>& device)
{
    // The list's node is made first: once the listener's worker runs, nothing here can fail any more.
    std::list<PreferenceChangeListener*> entry(1);
    entry.front() = new PreferenceChangeListener(&preferenceMutex, device);
    const std::lock_guard lock(listenersMutex);
    listeners.splice(listeners.begin(), entry);
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
