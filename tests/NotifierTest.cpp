#include "device/TessarigNotifier.h"
#include "tests/SimulatorTest.h"

namespace
{

class NotifierTest : public SimulatorTest
{
};

TEST_F(NotifierTest, ReportsPresentAndComingDevicesAndHoldsThemForTheCallOnly)
{
    const std::shared_ptr<Record> api = simulator.recordOf("api");
    std::vector<std::string> events; // each with the number of references that are held while it is told
    const auto noting = [&](const std::string& event)
    {
        return [&events, event, this](const COMPtr<ITessarig>& device)
        { events.push_back(event + (device ? " with " + std::to_string(simulator.ledger.total()) : " empty")); };
    };
    plugged(1);
    TessarigNotifier notifier;
    notifier.start(noting("came"), noting("went"));
    plugged(2);
    simulator.unplug(1);
    EXPECT_EQ(notifier.DeviceArrived(nullptr), S_OK);
    notifier.install(); // already installed: asks no factory
    EXPECT_EQ(api->calls.count("CreateTessarigDiscoveryInstance"), 1);
    notifier.uninstall();
    notifier.uninstall();
    plugged(3);
    // The discovery and, while it installs, the information object are held beside the device.
    EXPECT_EQ(events, (std::vector<std::string>{"came with 3", "came with 2", "went with 2", "came empty"}));

    for (const char* call : {"CreateTessarigAPIInformationInstance", "CreateTessarigDiscoveryInstance", "GetInt:eicf",
                             "InstallDeviceNotifications"})
    {
        api->faults.fail(call, 5);
        notifier.install();
        notifier.uninstall();
        EXPECT_EQ(simulator.ledger.total(), 0) << call;
        api->faults.fail(call, S_OK);
    }
    EXPECT_EQ(events.size(), 4U);
}

TEST_F(NotifierTest, KeepsExceptionsAndIdentityToItself)
{
    TessarigNotifier notifier;
    void* out = &notifier;
    EXPECT_EQ(notifier.QueryInterface(IID_IUnknown, &out), 0x80000004);
    EXPECT_EQ(out, &notifier);
    EXPECT_EQ(notifier.AddRef(), 2);
    EXPECT_EQ(notifier.Release(), 1);
    EXPECT_EQ(notifier.DeviceArrived(nullptr), S_OK); // nobody to tell
    const auto refuse = [](const COMPtr<ITessarig>&) { throw std::bad_alloc(); };
    notifier.start(refuse, refuse);
    EXPECT_EQ(notifier.DeviceArrived(nullptr), S_OK);
    EXPECT_EQ(notifier.DeviceRemoved(nullptr), S_OK);
}

}
