#include "simulator/SimulatedCard.h"

#include <utility>

#include "simulator/PeerIterator.h"
#include "simulator/Simulator.h"

SimulatedCard::SimulatedCard(Simulator& simulator, int64_t id, std::optional<GroupPlace> place)
    : SimulatedObject(simulator.ledger, std::to_string(id), simulator.recordOf(std::to_string(id))),
      id(id),
      place(std::move(place)),
      simulator(simulator)
{
}

ResultCode SimulatedCard::query(const char* face, InterfaceId iid, void** out)
{
    struct Row
    {
        InterfaceId iid;
        const char* interface;
        IUnknown* face;
    };
    const bool onConfiguration = face == std::string("configuration");
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
        const ResultCode result = called(face, "QueryInterface", row.interface);
        const std::string interfacePlace = std::string(row.interface) + "@" + face;
        if (!row.face || record->faults.isAbsent(row.interface) || record->faults.isAbsent(interfacePlace))
            return E_NOINTERFACE;
        if (result != S_OK)
            return result;
        row.face->AddRef();
        *out = row.face;
        return S_OK;
    }
    return SimulatedObject::query(face, iid, out);
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
    hold();
    simulator.deliveryThreads.post(id,
                                   [this, topic, param1, param2]
                                   {
                                       subscriptions.deliver(topic, param1, param2);
                                       abandon();
                                   });
}

std::string SimulatedCard::savedValue(const std::string& setting) const
{
    const std::lock_guard lock(settingsMutex);
    const auto entry = savedSettings.find(setting);
    return entry == savedSettings.end() ? std::string() : entry->second;
}

ResultCode SimulatedCard::persist(const char* face)
{
    Settings present;
    {
        const std::lock_guard lock(settingsMutex);
        present = settings;
    }
    if (const ResultCode result = called(face, "PersistState"); result != S_OK)
        return result;
    if (!simulator.saveSettings(id, present))
        return E_FAIL;
    const std::lock_guard lock(settingsMutex);
    savedSettings = present;
    return S_OK;
}

ResultCode SimulatedCard::Attributes::GetInt(uint32_t code, int64_t* value)
{
    const ResultCode result = object.called(face, "GetInt", codeText(code));
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
    return static_cast<int32_t>(object.called(face, "HandleHardwareNotification", std::to_string(value)));
}

int32_t SimulatedCard::HardwareState::HandleHardwareNotificationEx(uint32_t value, int64_t extra)
{
    return static_cast<int32_t>(
        object.called(face, "HandleHardwareNotificationEx", std::to_string(value) + " " + std::to_string(extra)));
}

ResultCode SimulatedCard::HardwareState::PersistState() { return object.persist(face); }

ResultCode SimulatedCard::HardwareState::PrepareDevice() { return object.called(face, "PrepareDevice"); }

ResultCode SimulatedCard::HardwareState::PrepareGroup() { return object.called(face, "PrepareGroup"); }

ResultCode SimulatedCard::Configuration::HardwareNotificationHandled()
{
    return object.called(face, "HardwareNotificationHandled");
}

ResultCode SimulatedCard::Notification::Subscribe(uint32_t topic, ITessarigNotificationCallback* callback)
{
    const ResultCode result = object.called(face, "Subscribe", codeText(topic));
    if (result == S_OK)
        object.subscriptions.add(topic, callback);
    return result;
}

ResultCode SimulatedCard::Notification::Unsubscribe(uint32_t topic, ITessarigNotificationCallback* callback)
{
    object.subscriptions.remove(topic, callback); // whatever it answers, it keeps its promise
    return object.called(face, "Unsubscribe", codeText(topic));
}

ResultCode SimulatedCard::Broadcaster::Post(uint32_t topic, int64_t param1, int64_t param2)
{
    const std::string argument = codeText(topic) + " " + std::to_string(param1) + " " + std::to_string(param2);
    const ResultCode result = object.called(face, "Post", argument);
    if (result == S_OK)
        object.raise(topic, param1, param2);
    return result;
}

ResultCode SimulatedCard::PeerDevice::GetDevice(ITessarig** out)
{
    const ResultCode result = object.called(face, "GetDevice");
    if (result != S_OK)
        return result;
    object.device.AddRef();
    *out = &object.device;
    return S_OK;
}

ResultCode SimulatedCard::PeerDevice::GetPeerIterator(ITessarigPeerIterator** out)
{
    const ResultCode result = object.called(face, "GetPeerIterator");
    if (result == S_OK)
        *out = iteratePeers(object.simulator, object);
    return result;
}
