#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "device/PreferenceChangeListener.h"
#include "simulator/SimulatedObject.h"
#include "tests/Waiting.h"

namespace
{

/// Where the compiler put a virtual operation: in this ABI a pointer to it holds its offset in the table, plus one.
template <typename Operation>
size_t positionOf(Operation operation)
{
    uintptr_t offset = 0;
    static_assert(sizeof operation == 2 * sizeof offset);
    memcpy(&offset, &operation, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST(BoundaryTest, EveryOperationHasItsPosition)
{
    EXPECT_EQ(positionOf(&IUnknown::QueryInterface), 0U);
    EXPECT_EQ(positionOf(&IUnknown::AddRef), 1U);
    EXPECT_EQ(positionOf(&IUnknown::Release), 2U);
    EXPECT_EQ(positionOf(&ITessarigDiscovery::InstallDeviceNotifications), 3U);
    EXPECT_EQ(positionOf(&ITessarigDiscovery::UninstallDeviceNotifications), 4U);
    EXPECT_EQ(positionOf(&ITessarigAPIInformation::GetInt), 4U);
    EXPECT_EQ(positionOf(&ITessarigAttributes::GetInt), 4U);
    EXPECT_EQ(positionOf(&ITessarigConfiguration::HardwareNotificationHandled), 19U);
    EXPECT_EQ(positionOf(&ITessarigHardwareState::HandleHardwareNotification), 3U);
    EXPECT_EQ(positionOf(&ITessarigHardwareState::HandleHardwareNotificationEx), 4U);
    EXPECT_EQ(positionOf(&ITessarigHardwareState::PersistState), 5U);
    EXPECT_EQ(positionOf(&ITessarigHardwareState::PrepareDevice), 6U);
    EXPECT_EQ(positionOf(&ITessarigHardwareState::PrepareGroup), 7U);
    EXPECT_EQ(positionOf(&ITessarigNotification::Subscribe), 3U);
    EXPECT_EQ(positionOf(&ITessarigNotification::Unsubscribe), 4U);
    EXPECT_EQ(positionOf(&ITessarigTopicBroadcaster::Post), 3U);
    EXPECT_EQ(positionOf(&ITessarigPeerDevice::GetDevice), 3U);
    EXPECT_EQ(positionOf(&ITessarigPeerDevice::GetPeerIterator), 6U);
    EXPECT_EQ(positionOf(&ITessarigPeerIterator::Next), 3U);
    EXPECT_EQ(positionOf(&ITessarigDeviceNotificationCallback::DeviceArrived), 3U);
    EXPECT_EQ(positionOf(&ITessarigDeviceNotificationCallback::DeviceRemoved), 4U);
    EXPECT_EQ(positionOf(&ITessarigNotificationCallback::Notify), 3U);
}

TEST(BoundaryTest, IdsAndCodesAreTheLibrarys)
{
    const std::pair<InterfaceId, const char*> ids[] = {
        {IID_IUnknown, "0000000000000000C000000000000046"},
        {IID_ITessarigGroupedDevice, "30D4142939984B6D84F878C94A797C6E"},
        {IID_ITessarigAttributes, "F47551D7AD2247AFBCFD6BE88AA879D9"},
        {IID_ITessarigHardwareState, "89D202A8D97149E4A97FAE9D06E0CDD4"},
        {IID_ITessarigConfiguration, "5A68FFD41C124EDEA6D245451D385FC1"},
        {IID_ITessarigNotification, "1D70FAACFD2748669DE60939D1E4C7F1"},
        {IID_ITessarigTopicBroadcaster, "2A7320AB3F9C4ED1B364D17132CDC93D"},
        {IID_ITessarigPeerDevice, "16093466674A432B9DA01AC2C5A8241C"},
        {IID_ITessarigNotificationCallback, "B002A1EC070D42888289BD5D36E5FF0D"}};
    for (const auto& [id, expected] : ids)
    {
        char text[33];
        for (int i = 0; i < 16; ++i)
            snprintf(text + 2 * i, 3, "%02X", id.bytes[i]);
        EXPECT_STREQ(text, expected);
    }
    const std::pair<uint32_t, const char*> codes[] = {
        {Topic::setd, "setd"},     {Topic::hwic, "hwic"},     {Topic::hwiC, "hwiC"},
        {Topic::pref, "pref"},     {Attribute::dgid, "dgid"}, {Attribute::nsbd, "nsbd"},
        {Attribute::subi, "subi"}, {Attribute::peid, "peid"}, {Information::eicf, "eicf"}};
    for (const auto& [code, text] : codes)
        EXPECT_EQ(codeText(code), text);
}

/// A device made of bare tables of functions, as a library in another language would make it: nothing of it comes from
/// the interfaces' declarations.
struct BareObject
{
    void* const* table;
};

struct BareDevice
{
    std::mutex mutex;
    std::vector<std::string> calls;
    int64_t references = 0;
    std::map<uint32_t, BareObject*> subscribers;
} bare;

uint32_t note(const std::string& call)
{
    const std::lock_guard lock(bare.mutex);
    bare.calls.push_back(call);
    return 0;
}

bool noted(const std::string& call)
{
    const std::lock_guard lock(bare.mutex);
    return std::find(bare.calls.begin(), bare.calls.end(), call) != bare.calls.end();
}

int64_t count(int64_t change)
{
    const std::lock_guard lock(bare.mutex);
    return bare.references += change;
}

template <typename Function>
void* entry(Function function)
{
    return reinterpret_cast<void*>(function);
}

int64_t addRef(BareObject*) { return count(1); }
int64_t release(BareObject*) { return count(-1); }
uint32_t query(BareObject* self, InterfaceId iid, void** out);

void* const broadcasterTable[] = {entry(query), entry(addRef), entry(release),
                                  entry(+[](BareObject*, uint32_t topic, int64_t a, int64_t b) {
                                      return note(topic == 0x70726566 && a == 0 && b == 0 ? "post pref" : "post wrong");
                                  })};
void* const stateOfDeviceTable[] = {
    entry(query), entry(addRef), entry(release), nullptr, nullptr, nullptr, entry(+[](BareObject*) {
        return note("prepare device");
    })};
void* const stateTable[] = {
    entry(query),
    entry(addRef),
    entry(release),
    entry(+[](BareObject*, uint32_t value) { return static_cast<int32_t>(note("hardware " + std::to_string(value))); }),
    entry(+[](BareObject*, uint32_t value, int64_t extra)
          { return static_cast<int32_t>(note("extended " + std::to_string(value) + " " + std::to_string(extra))); }),
    entry(+[](BareObject*) { return note("persist"); })};
void* const notificationTable[] = {
    entry(query), entry(addRef), entry(release),
    entry(+[](BareObject*, uint32_t topic, BareObject* callback)
          {
              bare.subscribers[topic] = callback;
              return note("subscribe " + codeText(topic));
          }),
    entry(+[](BareObject*, uint32_t topic, BareObject*) { return note("unsubscribe " + codeText(topic)); })};
void* const configurationTable[20] = {
    entry(query), entry(addRef), entry(release), nullptr, nullptr,
    nullptr,      nullptr,       nullptr,        nullptr, nullptr,
    nullptr,      nullptr,       nullptr,        nullptr, nullptr,
    nullptr,      nullptr,       nullptr,        nullptr, entry(+[](BareObject*) { return note("handled"); })};
void* const deviceTable[] = {entry(query), entry(addRef), entry(release)};

BareObject broadcaster{broadcasterTable};
BareObject stateOfDevice{stateOfDeviceTable};
BareObject state{stateTable};
BareObject notification{notificationTable};
BareObject configuration{configurationTable};
BareObject device{deviceTable};

/// Tells the ids apart by their first two bytes.
uint32_t query(BareObject* self, InterfaceId iid, void** out)
{
    const std::map<int, BareObject*> faces = {{0x89D2, self == &configuration ? &state : &stateOfDevice},
                                              {0x5A68, &configuration},
                                              {0x1D70, &notification},
                                              {0x2A73, &broadcaster}};
    const auto face = faces.find(iid.bytes[0] << 8 | iid.bytes[1]);
    if (face == faces.end())
        return 0x80000004;
    *out = face->second;
    count(1);
    return 0;
}

TEST(BoundaryTest, AListenerWorksOnBareTables)
{
    using Notify = uint32_t (*)(BareObject*, uint32_t, int64_t, int64_t);
    SharedPreferenceMutex mutex;
    auto* listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(reinterpret_cast<ITessarig*>(&device)));
    ASSERT_TRUE(waitFor([] { return noted("subscribe setd"); }));

    BareObject* callback = bare.subscribers.at(0x73657464);
    const auto notify = reinterpret_cast<Notify>(callback->table[3]);
    EXPECT_EQ(notify(callback, 0x68776963, 0x700000005, 0), 0U);
    EXPECT_EQ(notify(callback, 0x68776943, 6, -7), 0U);
    EXPECT_EQ(notify(callback, 0x73657464, 0, 0), 0U);
    ASSERT_TRUE(waitFor([] { return noted("post pref"); }));
    listener->unsubscribe();
    EXPECT_EQ(listener->Release(), 0);

    EXPECT_EQ(bare.references, 0);
    EXPECT_EQ(bare.calls,
              (std::vector<std::string>{"prepare device", "subscribe hwic", "subscribe hwiC", "subscribe setd",
                                        "hardware 5", "handled", "extended 6 -7", "handled", "persist", "post pref",
                                        "unsubscribe setd", "unsubscribe hwic", "unsubscribe hwiC"}));
}

}
