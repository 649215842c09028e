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

    SimulatedCard(Simulator& simulator, int64_t id, std::optional<GroupPlace> place = {});

    ResultCode query(const char* face, InterfaceId iid, void** out) override;

    /// Somebody turned a knob: changes the setting and raises `setd`.
    void change(const std::string& setting, const std::string& value);
    /// Delivers a topic to the subscribers, on a thread of the library.
    void raise(uint32_t topic, int64_t param1, int64_t param2);
    /// What the last PersistState saved under this name; empty if nothing.
    std::string savedValue(const std::string& setting) const;

    const int64_t id;
    const std::optional<GroupPlace> place; ///< Nothing for a plain card.

    struct Attributes final : Face<ITessarigAttributes, SimulatedCard>
    {
        using Face::Face;
        void position3() override { placeholderCalled(); }
        ResultCode GetInt(uint32_t id, int64_t* value) override;
    };

    struct HardwareState final : Face<ITessarigHardwareState, SimulatedCard>
    {
        using Face::Face;
        int32_t HandleHardwareNotification(uint32_t value) override;
        int32_t HandleHardwareNotificationEx(uint32_t value, int64_t extra) override;
        ResultCode PersistState() override;
        ResultCode PrepareDevice() override;
        ResultCode PrepareGroup() override;
    };

    struct Configuration final : Face<ITessarigConfiguration, SimulatedCard>
    {
        using Face::Face;
        void position3() override { placeholderCalled(); }
        void position4() override { placeholderCalled(); }
        void position5() override { placeholderCalled(); }
        void position6() override { placeholderCalled(); }
        void position7() override { placeholderCalled(); }
        void position8() override { placeholderCalled(); }
        void position9() override { placeholderCalled(); }
        void position10() override { placeholderCalled(); }
        void position11() override { placeholderCalled(); }
        void position12() override { placeholderCalled(); }
        void position13() override { placeholderCalled(); }
        void position14() override { placeholderCalled(); }
        void position15() override { placeholderCalled(); }
        void position16() override { placeholderCalled(); }
        void position17() override { placeholderCalled(); }
        void position18() override { placeholderCalled(); }
        ResultCode HardwareNotificationHandled() override;
    };

    struct Notification final : Face<ITessarigNotification, SimulatedCard>
    {
        using Face::Face;
        ResultCode Subscribe(uint32_t topic, ITessarigNotificationCallback* callback) override;
        ResultCode Unsubscribe(uint32_t topic, ITessarigNotificationCallback* callback) override;
    };

    struct Broadcaster final : Face<ITessarigTopicBroadcaster, SimulatedCard>
    {
        using Face::Face;
        ResultCode Post(uint32_t topic, int64_t param1, int64_t param2) override;
    };

    struct PeerDevice final : Face<ITessarigPeerDevice, SimulatedCard>
    {
        using Face::Face;
        ResultCode GetDevice(ITessarig** out) override;
        void position4() override { placeholderCalled(); }
        void position5() override { placeholderCalled(); }
        ResultCode GetPeerIterator(ITessarigPeerIterator** out) override;
    };

    Face<ITessarig> device{*this, "device"};
    Attributes attributes{*this, "attributes"};
    HardwareState stateOfDevice{*this, "state(device)"};
    HardwareState stateOfConfiguration{*this, "state(configuration)"};
    Configuration configuration{*this, "configuration"};
    Notification notification{*this, "notification"};
    Broadcaster broadcaster{*this, "broadcaster"};
    Face<ITessarigGroupedDevice> groupedDevice{*this, "grouped"};
    PeerDevice peerDevice{*this, "peer"};

private:
    ~SimulatedCard() override = default;
    ResultCode persist(const char* face);

    Simulator& simulator;
    Subscriptions subscriptions;
    mutable std::mutex settingsMutex;
    Settings settings;
    Settings savedSettings;
};
