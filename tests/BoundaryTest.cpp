#include <algorithm>
#include <array>
#include <bit>
#include <map>

#include <gtest/gtest.h>

#include "device/PreferenceChangeListener.h"
#include "simulator/SimulatedObject.h"
#include "testing/Waiting.h"

using Positions = std::vector<size_t>;

/// Where the compiler put virtual operations: in this ABI a pointer to one holds its offset in the table, plus one.
template <typename... Operation>
static Positions positionsOf(Operation... operation)
{
    return {(std::bit_cast<std::array<uintptr_t, 2>>(operation)[0] - 1) / sizeof(void*)...};
}

TEST(BoundaryTest, EveryOperationHasItsPosition)
{
    using Device = ITessarigHardwareState;
    using Found = ITessarigDeviceNotificationCallback;
    EXPECT_EQ(positionsOf(&IUnknown::QueryInterface, &IUnknown::AddRef, &IUnknown::Release), (Positions{0, 1, 2}));
    EXPECT_EQ(positionsOf(&Device::HandleHardwareNotification, &Device::HandleHardwareNotificationEx,
                          &Device::PersistState, &Device::PrepareDevice, &Device::PrepareGroup),
              (Positions{3, 4, 5, 6, 7}));
    EXPECT_EQ(positionsOf(&ITessarigAttributes::GetInt, &ITessarigAPIInformation::GetInt), (Positions{4, 4}));
    EXPECT_EQ(positionsOf(&ITessarigConfiguration::HardwareNotificationHandled), (Positions{19}));
    EXPECT_EQ(positionsOf(&ITessarigNotificationCallback::Notify, &ITessarigTopicBroadcaster::Post), (Positions{3, 3}));
    EXPECT_EQ(positionsOf(&ITessarigNotification::Subscribe, &ITessarigNotification::Unsubscribe), (Positions{3, 4}));
    EXPECT_EQ(positionsOf(&ITessarigPeerDevice::GetDevice, &ITessarigPeerDevice::GetPeerIterator), (Positions{3, 6}));
    EXPECT_EQ(positionsOf(&ITessarigPeerIterator::Next), (Positions{3}));
    EXPECT_EQ(positionsOf(&Found::DeviceArrived, &Found::DeviceRemoved), (Positions{3, 4}));
    EXPECT_EQ(
        positionsOf(&ITessarigDiscovery::InstallDeviceNotifications, &ITessarigDiscovery::UninstallDeviceNotifications),
        (Positions{3, 4}));
}

TEST(BoundaryTest, IdsAndCodesAreTheLibrarys)
{
    std::string ids;
    for (const InterfaceId& id :
         {IID_IUnknown, IID_ITessarigGroupedDevice, IID_ITessarigAttributes, IID_ITessarigHardwareState,
          IID_ITessarigConfiguration, IID_ITessarigNotification, IID_ITessarigTopicBroadcaster, IID_ITessarigPeerDevice,
          IID_ITessarigNotificationCallback})
        for (const uint8_t byte : id.bytes)
            ids += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
    EXPECT_EQ(ids, "0000000000000000C000000000000046"
                   "30D4142939984B6D84F878C94A797C6E"
                   "F47551D7AD2247AFBCFD6BE88AA879D9"
                   "89D202A8D97149E4A97FAE9D06E0CDD4"
                   "5A68FFD41C124EDEA6D245451D385FC1"
                   "1D70FAACFD2748669DE60939D1E4C7F1"
                   "2A7320AB3F9C4ED1B364D17132CDC93D"
                   "16093466674A432B9DA01AC2C5A8241C"
                   "B002A1EC070D42888289BD5D36E5FF0D");
    std::string codes;
    for (const uint32_t code : {Topic::setd, Topic::hwic, Topic::hwiC, Topic::pref, Attribute::dgid, Attribute::nsbd,
                                Attribute::subi, Attribute::peid, Information::eicf})
        codes += codeText(code);
    EXPECT_EQ(codes, "setdhwichwiCprefdgidnsbdsubipeideicf");
}

/// One face of a device that is made of bare tables of functions, as a library in another language would make it:
/// nothing of it comes from the interfaces' declarations.
struct BareObject
{
    BareObject(const char* name, const std::map<size_t, void*>& operations);

    void* const* table = positions; ///< What the other side sees.
    const char* name;
    void* positions[20];
};

static CallLog calls;
static std::atomic<int64_t> references = 0;
static std::atomic<bool> ending = false; ///< From here on the releases are noted, too.
static std::atomic<BareObject*> callback = nullptr;
static std::thread change;

static uint32_t note(BareObject* self, const std::string& operation, const std::string& argument = {})
{
    calls.add(self->name, operation, argument);
    return 0;
}

static uint32_t notify(uint32_t topic, int64_t param1, int64_t param2)
{
    using Notify = uint32_t (*)(BareObject*, uint32_t, int64_t, int64_t);
    return reinterpret_cast<Notify>(callback.load()->table[3])(callback, topic, param1, param2);
}

template <typename Function>
static void* entry(Function function)
{
    return reinterpret_cast<void*>(+function);
}

static BareObject device("device", {});
static BareObject preparing("state of device", {{6, entry([](BareObject* self) { return note(self, "prepare"); })}});
static BareObject configuration("configuration", {{19, entry([](BareObject* self) { return note(self, "handled"); })}});
static BareObject
    state("state",
          {// Takes until a setting that is changed meanwhile has been saved.
           {3, entry(
                   [](BareObject* self, uint32_t value)
                   {
                       change = std::thread([] { EXPECT_EQ(notify(0x73657464, 0, 0), 0U); });
                       const bool saved = waitFor([] { return calls.count("post") == 1; });
                       return note(self, saved ? "handle" : "held up", std::to_string(value));
                   })},
           {4, entry([](BareObject* self, uint32_t value, int64_t extra)
                     { return note(self, "refuse", std::to_string(value) + " " + std::to_string(extra)) - 1; })},
           {5, entry([](BareObject* self) { return note(self, "persist"); })}});
static BareObject notification("notification", {{3, entry(
                                                        [](BareObject* self, uint32_t topic, BareObject* subscriber)
                                                        {
                                                            callback = subscriber;
                                                            return note(self, "subscribe", codeText(topic));
                                                        })},
                                                {4, entry([](BareObject* self, uint32_t topic, BareObject*)
                                                          { return note(self, "unsubscribe", codeText(topic)); })}});
static BareObject
    broadcaster("broadcaster",
                {{3, entry([](BareObject* self, uint32_t topic, int64_t a, int64_t b)
                           { return note(self, "post", codeText(topic) + (a == 0 && b == 0 ? "" : " wrong")); })}});

/// Tells the ids apart by their first byte.
static uint32_t query(BareObject* self, InterfaceId iid, void** out)
{
    const int face = iid.bytes[0];
    *out = face == 0x5A             ? &configuration
           : face == 0x1D           ? &notification
           : face == 0x2A           ? &broadcaster
           : self == &configuration ? &state
                                    : &preparing;
    ++references;
    return 0;
}

static int64_t release(BareObject* self) { return (ending ? note(self, "release") : 0) + --references; }

BareObject::BareObject(const char* name, const std::map<size_t, void*>& operations)
    : name(name), positions{entry(query), entry([](BareObject*) { return ++references; }), entry(release)}
{
    for (const auto& [position, operation] : operations)
        positions[position] = operation;
}

TEST(BoundaryTest, AListenerWorksOnBareTables)
{
    SharedPreferenceMutex mutex;
    auto* listener = new PreferenceChangeListener(&mutex, COMPtr<ITessarig>(reinterpret_cast<ITessarig*>(&device)));
    listener->listening.wait();
    EXPECT_EQ(notify(0x68776963, 0x700000005, 0), 0U);
    EXPECT_EQ(notify(0x68776943, 6, -7), 0U);
    EXPECT_EQ(notify(0x70726566, 0, 0), 0U);
    EXPECT_EQ(notify(0x68776944, 0, 0), 0U); // unknown
    change.join();
    void* out = nullptr;
    EXPECT_EQ(listener->QueryInterface(IID_IUnknown, &out), 0x80000004);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(listener->QueryInterface(IID_ITessarigNotificationCallback, &out), 0U);
    EXPECT_EQ(out, callback);
    listener->unsubscribe();
    ending = true;
    EXPECT_EQ(listener->Release(), 0);

    EXPECT_EQ(references, 0);
    EXPECT_EQ(calls.lines(), (std::vector<std::string>{"state of device.prepare", "notification.subscribe hwic",
                                                       "notification.subscribe hwiC", "notification.subscribe setd",
                                                       "state.persist", "broadcaster.post pref", "state.handle 5",
                                                       "configuration.handled", "state.refuse 6 -7",
                                                       "notification.unsubscribe setd", "notification.unsubscribe hwic",
                                                       "notification.unsubscribe hwiC", "notification.release",
                                                       "state.release", "configuration.release", "device.release"}));
}
