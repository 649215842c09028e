#include "simulator/SimulatedCard.h"

#include <utility>

#include "simulator/PeerIterator.h"
#include "simulator/Simulator.h"

SimulatedCard::SimulatedCard(Simulator& owner, int64_t number, std::optional<GroupPlace> groupPlace)
    : SimulatedObject(owner.ledger, std::to_string(number), owner.recordOf(std::to_string(number))),
      id(number),
      place(std::move(groupPlace)),
      simulator(owner)
{
}

ResultCode SimulatedCard::query(const IUnknown& asked, const char* label, InterfaceId iid, void** out)
{
    struct Row
    {
        InterfaceId iid;
        const char* name;
        IUnknown* found;
    };
    const bool onConfiguration = &asked == &configuration;
    const Row rows[] = {
        {IID_ITessarigAttributes, "ITessarigAttributes", &attributes},
        {IID_ITessarigHardwareState, "ITessarigHardwareState",
         onConfiguration ? &stateOfConfiguration : &stateOfDevice},
        {IID_ITessarigConfiguration, "ITessarigConfiguration", &configuration},
        {IID_ITessarigNotification, "ITessarigNotification", &notification},
        {IID_ITessarigTopicBroadcaster, "ITessarigTopicBroadcaster", &broadcaster},
        {IID_ITessarigGroupedDevice, "ITessarigGroupedDevice", place ? &groupedDevice : nullptr},
        {IID_ITessarigPeerDevice, "ITessarigPeerDevice", place ? &peerDevice : nullptr},
    };
    for (const Row& row : rows)
    {
        if (row.iid != iid)
            continue;
        const ResultCode result = recordCall(label, "QueryInterface", row.name);
        const Faults& faults = record->faults;
        const std::string interface = row.name;
        if (!row.found || faults.isAbsent(interface) ||
            (onConfiguration && faults.isAbsent(interface + "@configuration")))
            return E_NOINTERFACE;
        if (result != S_OK)
            return result;
        row.found->AddRef();
        *out = row.found;
        return S_OK;
    }
    return E_NOINTERFACE;
}

void SimulatedCard::change(const std::string& setting, const std::string& value)
{
    {
        const std::lock_guard lock(settingsMutex);
        settings[setting] = value;
    }
    raise(Topic::setd, 0, 0);
}

void SimulatedCard::raise(uint32_t topic, int64_t param1, int64_t param2)
{
    retain();
    simulator.deliveryThreads.post(id,
                                   [this, topic, param1, param2]
                                   {
                                       subscriptions.deliver(topic, param1, param2);
                                       release();
                                   });
}

std::string SimulatedCard::savedValue(const std::string& setting) const
{
    const std::lock_guard lock(settingsMutex);
    const auto entry = savedSettings.find(setting);
    return entry == savedSettings.end() ? std::string() : entry->second;
}

ResultCode SimulatedCard::persist(const char* label)
{
    Settings present;
    {
        const std::lock_guard lock(settingsMutex);
        present = settings;
    }
    if (const ResultCode result = recordCall(label, "PersistState"); result != S_OK)
        return result;
    if (!simulator.saveSettings(id, present))
        return E_FAIL;
    const std::lock_guard lock(settingsMutex);
    savedSettings = present;
    return S_OK;
}

ResultCode SimulatedCard::Attributes::GetInt(uint32_t code, int64_t* value)
{
    const ResultCode result = recordCall("GetInt", codeText(code));
    if (result != S_OK)
        return result;
    if (!object.place)
        return E_FAIL; // a plain card has none of the attributes that are asked for
    const std::pair<uint32_t, int64_t> held[] = {{Attribute::dgid, object.place->group},
                                                 {Attribute::nsbd, object.place->of},
                                                 {Attribute::subi, object.place->order},
                                                 {Attribute::peid, object.place->peer}};
    for (const auto& [attribute, number] : held)
    {
        if (attribute != code)
            continue;
        *value = number;
        return S_OK;
    }
    return E_FAIL;
}

int32_t SimulatedCard::HardwareState::HandleHardwareNotification(uint32_t value)
{
    return static_cast<int32_t>(recordCall("HandleHardwareNotification", std::to_string(value)));
}

int32_t SimulatedCard::HardwareState::HandleHardwareNotificationEx(uint32_t value, int64_t extra)
{
    return static_cast<int32_t>(
        recordCall("HandleHardwareNotificationEx", std::to_string(value) + " " + std::to_string(extra)));
}

ResultCode SimulatedCard::HardwareState::PersistState() { return object.persist(label); }

ResultCode SimulatedCard::HardwareState::PrepareDevice() { return recordCall("PrepareDevice"); }

ResultCode SimulatedCard::HardwareState::PrepareGroup() { return recordCall("PrepareGroup"); }

ResultCode SimulatedCard::Configuration::HardwareNotificationHandled()
{
    return recordCall("HardwareNotificationHandled");
}

ResultCode SimulatedCard::Notification::Subscribe(uint32_t topic, ITessarigNotificationCallback* callback)
{
    const ResultCode result = recordCall("Subscribe", codeText(topic));
    if (result == S_OK)
        object.subscriptions.add(topic, callback);
    return result;
}

ResultCode SimulatedCard::Notification::Unsubscribe(uint32_t topic, ITessarigNotificationCallback* callback)
{
    object.subscriptions.remove(topic, callback); // whatever it answers, it keeps its promise
    return recordCall("Unsubscribe", codeText(topic));
}

ResultCode SimulatedCard::Broadcaster::Post(uint32_t topic, int64_t param1, int64_t param2)
{
    const std::string argument = codeText(topic) + " " + std::to_string(param1) + " " + std::to_string(param2);
    const ResultCode result = recordCall("Post", argument);
    if (result == S_OK)
        object.raise(topic, param1, param2);
    return result;
}

ResultCode SimulatedCard::PeerDevice::GetDevice(ITessarig** out)
{
    const ResultCode result = recordCall("GetDevice");
    if (result != S_OK)
        return result;
    object.device.AddRef();
    *out = &object.device;
    return S_OK;
}

ResultCode SimulatedCard::PeerDevice::GetPeerIterator(ITessarigPeerIterator** out)
{
    const ResultCode result = recordCall("GetPeerIterator");
    if (result == S_OK)
        *out = iteratePeers(object.simulator, object);
    return result;
}
