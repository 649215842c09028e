#include "simulator/Simulator.h"

#include <utility>

#include "simulator/SettingsFile.h"

namespace
{

class SimulatedInformation final : public SimulatedObject
{
public:
    using SimulatedObject::SimulatedObject;

    struct Main final : Interface<ITessarigAPIInformation, SimulatedInformation>
    {
        using Interface::Interface;
        ResultCode GetInt(uint32_t id, int64_t*) override { return recordCall("GetInt", codeText(id)); }
    };

    Main main{*this, "information"};
};

class SimulatedDiscovery final : public SimulatedObject
{
public:
    using SimulatedObject::SimulatedObject;

    struct Main final : Interface<ITessarigDiscovery, SimulatedDiscovery>
    {
        using Interface::Interface;

        ResultCode InstallDeviceNotifications(ITessarigDeviceNotificationCallback* callback) override
        {
            const ResultCode result = recordCall("InstallDeviceNotifications");
            return result == S_OK ? Simulator::instance().install(callback) : result;
        }

        ResultCode UninstallDeviceNotifications() override
        {
            Simulator::instance().uninstall();
            return recordCall("UninstallDeviceNotifications");
        }
    };

    Main main{*this, "discovery"};
};

/// Makes an object whose only holder is the caller of the factory.
template <typename Object>
auto* create(Ledger& ledger, const char* name, const char* factory, std::shared_ptr<Record> record)
{
    record->calls.add("library", factory, {});
    const bool fails = record->faults.answer(factory, {}) != S_OK;
    auto* object = new Object(ledger, name, std::move(record));
    auto* made = fails ? nullptr : &object->main;
    if (made)
        made->AddRef();
    object->release();
    return made;
}

}

Simulator& Simulator::instance()
{
    static Simulator simulator;
    return simulator;
}

Simulator::Simulator() : saveSettings(::saveSettings) {}

bool Simulator::plug(int64_t id, const std::optional<GroupPlace>& place)
{
    Card card(new SimulatedCard(*this, id, place), [](SimulatedCard* unused) { unused->release(); });
    std::unique_lock lock(mutex);
    if (!slots.try_emplace(id, Slot{card}).second)
        return false;
    announce(lock, id);
    return true;
}

/// Tells the watcher of a card that is in its slot. The lock is given up for the time of the callback.
void Simulator::announce(std::unique_lock<std::mutex>& lock, int64_t id)
{
    const auto slot = slots.find(id);
    if (!watcher || slot == slots.end() || slot->second.presence != Presence::Unannounced)
        return;
    slot->second.presence = Presence::Arriving;
    ++runningCallbacks;
    ITessarigDeviceNotificationCallback* callback = watcher;
    lock.unlock();
    static_cast<void>(callback->DeviceArrived(&slot->second.card->device)); // nobody takes an arriving card out
    lock.lock();
    slot->second.presence = Presence::Announced;
    --runningCallbacks;
    changed.notify_all();
}

bool Simulator::unplug(int64_t id)
{
    std::unique_lock lock(mutex);
    auto slot = slots.find(id);
    while (slot != slots.end() && slot->second.presence == Presence::Arriving)
    {
        changed.wait(lock);
        slot = slots.find(id);
    }
    if (slot == slots.end())
        return false;
    const Slot leaving = slot->second;
    slots.erase(slot);
    if (!watcher || leaving.presence != Presence::Announced)
        return true;

    ++runningCallbacks;
    ITessarigDeviceNotificationCallback* callback = watcher;
    lock.unlock();
    static_cast<void>(callback->DeviceRemoved(&leaving.card->device));
    lock.lock();
    --runningCallbacks;
    changed.notify_all();
    return true;
}

Simulator::Card Simulator::find(int64_t id) const
{
    const std::lock_guard lock(mutex);
    const auto slot = slots.find(id);
    return slot == slots.end() ? nullptr : slot->second.card;
}

std::vector<int64_t> Simulator::list() const
{
    const std::lock_guard lock(mutex);
    std::vector<int64_t> ids;
    for (const auto& [id, slot] : slots)
        ids.push_back(id);
    return ids;
}

std::shared_ptr<Record> Simulator::recordOf(const std::string& id)
{
    const std::lock_guard lock(mutex);
    std::shared_ptr<Record>& record = records[id];
    if (!record)
        record = std::make_shared<Record>();
    return record;
}

std::vector<std::string> Simulator::recorded() const
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> ids;
    for (const auto& [id, record] : records)
        ids.push_back(id);
    return ids;
}

void Simulator::reset()
{
    for (const int64_t id : list())
        unplug(id);
    const std::lock_guard lock(mutex);
    records.clear();
}

ITessarigAPIInformation* Simulator::createInformation()
{
    return create<SimulatedInformation>(ledger, "information", "CreateTessarigAPIInformationInstance", recordOf("api"));
}

ITessarigDiscovery* Simulator::createDiscovery()
{
    return create<SimulatedDiscovery>(ledger, "discovery", "CreateTessarigDiscoveryInstance", recordOf("api"));
}

ResultCode Simulator::install(ITessarigDeviceNotificationCallback* callback)
{
    std::unique_lock lock(mutex);
    if (watcher)
        return E_FAIL;
    callback->AddRef();
    watcher = callback;
    std::vector<int64_t> present;
    for (const auto& [id, slot] : slots)
        present.push_back(id);
    for (const int64_t id : present)
        announce(lock, id);
    return S_OK;
}

void Simulator::uninstall()
{
    std::unique_lock lock(mutex);
    ITessarigDeviceNotificationCallback* former = watcher;
    watcher = nullptr;
    changed.wait(lock, [this] { return runningCallbacks == 0; });
    for (auto& [id, slot] : slots)
        slot.presence = Presence::Unannounced;
    lock.unlock();
    if (former)
        former->Release();
}
