#include "device/TessarigNotifier.h"
#include "tests/SimulatorTest.h"

namespace
{

using Ids = std::vector<std::string>;

class NotifierTest : public SimulatorTest
{
protected:
    void start(TessarigNotifier& notifier)
    {
        notifier.start([this](const COMPtr<ITessarig>& device) { events.push_back(name("came", device)); },
                       [this](const COMPtr<ITessarig>& device) { events.push_back(name("went", device)); });
    }

    std::string name(const std::string& event, const COMPtr<ITessarig>& device)
    {
        return event + (device ? " with " + std::to_string(simulator.ledger.total()) : " empty");
    }

    Faults& api() { return simulator.recordOf("api")->faults; }

    Ids events;
};

TEST_F(NotifierTest, ReportsPresentAndComingDevicesAndHoldsThemForTheCallOnly)
{
    plugged(1);
    TessarigNotifier notifier;
    start(notifier);
    plugged(2);
    simulator.unplug(1);
    // Discovery and, while it installs, the information object are held; and the device for the time of the call.
    EXPECT_EQ(events, (Ids{"came with 3", "came with 2", "went with 2"}));
    EXPECT_EQ(simulator.ledger.total(), 1);

    notifier.install(); // already installed: asks no factory
    EXPECT_EQ(simulator.recordOf("api")->calls.count("CreateTessarigDiscoveryInstance"), 1);

    EXPECT_EQ(notifier.DeviceArrived(nullptr), S_OK);
    EXPECT_EQ(events.back(), "came empty");
    notifier.uninstall();
    notifier.uninstall();
    plugged(3);
    EXPECT_EQ(events.size(), 4U);
}

TEST_F(NotifierTest, GoesWithoutDevicesWhenTheLibraryRefuses)
{
    const std::pair<const char*, int64_t> refusals[] = {{"CreateTessarigAPIInformationInstance", 0},
                                                        {"CreateTessarigDiscoveryInstance", 0},
                                                        {"GetInt:eicf", 1},
                                                        {"InstallDeviceNotifications", 1}};
    plugged(1);
    for (const auto& [call, held] : refusals)
    {
        api().fail(call, 5);
        {
            TessarigNotifier notifier;
            start(notifier);
            EXPECT_EQ(simulator.ledger.total(), held) << call;
        }
        EXPECT_EQ(simulator.ledger.total(), 0) << call;
        api().fail(call, S_OK);
    }
    EXPECT_TRUE(events.empty());
}

TEST_F(NotifierTest, KeepsExceptionsAndIdentityToItself)
{
    TessarigNotifier notifier;
    void* out = &notifier;
    EXPECT_EQ(notifier.QueryInterface(IID_IUnknown, &out), 0x80000004);
    EXPECT_EQ(out, &notifier);
    EXPECT_EQ(notifier.AddRef(), 2);
    EXPECT_EQ(notifier.Release(), 1);

    const Simulator::Card card = plugged(1);
    EXPECT_EQ(notifier.DeviceArrived(&card->device), S_OK); // nobody to tell
    const auto refuse = [](const COMPtr<ITessarig>&) { throw std::bad_alloc(); };
    notifier.start(refuse, refuse);
    EXPECT_EQ(notifier.DeviceArrived(&card->device), S_OK);
    EXPECT_EQ(notifier.DeviceRemoved(&card->device), S_OK);
}

}
