#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "deviceapi/TessarigAPI.h"
#include "simulator/SimulatedObject.h"
#include "simulator/Subscriptions.h"

class Simulator;

/// A card's place in a group of cards that make one device.
struct GroupPlace
{
    int64_t group = 0; ///< `dgid`
    int64_t of = 0;    ///< `nsbd`: how many there are
    int64_t order = 0; ///< `subi`
    int64_t peer = 0;  ///< `peid`
    std::vector<int64_t> peers;
};

/// A card as the device library shows it: one object with all its interfaces, those of a group's member among them. Its
/// operations may be called from several threads at once, and for as long as somebody holds a reference, also after it
/// was unplugged.
class SimulatedCard final : public SimulatedObject
{
public:
    using Settings = std::map<std::string, std::string>;

    SimulatedCard(Simulator& owner, int64_t number, std::optional<GroupPlace> groupPlace = {});

    ResultCode query(const IUnknown& asked, const char* label, InterfaceId iid, void** out) override;

    /// Somebody turned a knob: changes the setting and raises `setd`.
    void change(const std::string& setting, const std::string& value);
    /// Delivers a topic to the subscribers, on a thread of the library.
    void raise(uint32_t topic, int64_t param1, int64_t param2);
    /// What the last PersistState saved under this name; empty if nothing.
    std::string savedValue(const std::string& setting) const;

    const int64_t id;
    const std::optional<GroupPlace> place; ///< Nothing for a plain card.

    struct Attributes final : Interface<ITessarigAttributes, SimulatedCard>
    {
        using Interface::Interface;
        ResultCode GetInt(uint32_t id, int64_t* value) override;
    };

    struct HardwareState final : Interface<ITessarigHardwareState, SimulatedCard>
    {
        using Interface::Interface;
        int32_t HandleHardwareNotification(uint32_t value) override;
        int32_t HandleHardwareNotificationEx(uint32_t value, int64_t extra) override;
        ResultCode PersistState() override;
        ResultCode PrepareDevice() override;
        ResultCode PrepareGroup() override;
    };

    struct Configuration final : Interface<ITessarigConfiguration, SimulatedCard>
    {
        using Interface::Interface;
        ResultCode HardwareNotificationHandled() override;
    };

    struct Notification final : Interface<ITessarigNotification, SimulatedCard>
    {
        using Interface::Interface;
        ResultCode Subscribe(uint32_t topic, ITessarigNotificationCallback* callback) override;
        ResultCode Unsubscribe(uint32_t topic, ITessarigNotificationCallback* callback) override;
    };

    struct Broadcaster final : Interface<ITessarigTopicBroadcaster, SimulatedCard>
    {
        using Interface::Interface;
        ResultCode Post(uint32_t topic, int64_t param1, int64_t param2) override;
    };

    struct PeerDevice final : Interface<ITessarigPeerDevice, SimulatedCard>
    {
        using Interface::Interface;
        ResultCode GetDevice(ITessarig** out) override;
        ResultCode GetPeerIterator(ITessarigPeerIterator** out) override;
    };

    Interface<ITessarig> device{*this, "device"};
    Attributes attributes{*this, "attributes"};
    HardwareState stateOfDevice{*this, "state(device)"};
    HardwareState stateOfConfiguration{*this, "state(configuration)"};
    Configuration configuration{*this, "configuration"};
    Notification notification{*this, "notification"};
    Broadcaster broadcaster{*this, "broadcaster"};
    Interface<ITessarigGroupedDevice> groupedDevice{*this, "grouped"};
    PeerDevice peerDevice{*this, "peer"};

private:
    ~SimulatedCard() override = default;
    ResultCode persist(const char* label);

    Simulator& simulator;
    Subscriptions subscriptions;
    mutable std::mutex settingsMutex;
    Settings settings;
    Settings savedSettings;
};
