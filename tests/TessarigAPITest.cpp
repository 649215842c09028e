#include "deviceapi/TessarigAPI.h"

#include <array>
#include <bit>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/SimulatedObject.h"

using Positions = std::vector<size_t>;

/// Where the compiler put virtual operations: in this ABI a pointer to one holds its offset in the table, plus one.
template <typename... Operation>
static Positions positionsOf(Operation... operation)
{
    return {(std::bit_cast<std::array<uintptr_t, 2>>(operation)[0] - 1) / sizeof(void*)...};
}

TEST(TessarigAPITest, EveryOperationHasItsPosition)
{
    using State = ITessarigHardwareState;
    using Found = ITessarigDeviceNotificationCallback;
    using Topics = ITessarigNotification;
    using Discovery = ITessarigDiscovery;
    EXPECT_EQ(positionsOf(&IUnknown::QueryInterface, &IUnknown::AddRef, &IUnknown::Release), (Positions{0, 1, 2}));
    EXPECT_EQ(positionsOf(&State::HandleHardwareNotification, &State::HandleHardwareNotificationEx), (Positions{3, 4}));
    EXPECT_EQ(positionsOf(&State::PersistState, &State::PrepareDevice, &State::PrepareGroup), (Positions{5, 6, 7}));
    EXPECT_EQ(positionsOf(&ITessarigAttributes::GetInt, &ITessarigAPIInformation::GetInt), (Positions{4, 4}));
    EXPECT_EQ(positionsOf(&ITessarigConfiguration::HardwareNotificationHandled), (Positions{19}));
    EXPECT_EQ(positionsOf(&ITessarigNotificationCallback::Notify, &ITessarigTopicBroadcaster::Post), (Positions{3, 3}));
    EXPECT_EQ(positionsOf(&Topics::Subscribe, &Topics::Unsubscribe), (Positions{3, 4}));
    EXPECT_EQ(positionsOf(&ITessarigPeerDevice::GetDevice, &ITessarigPeerDevice::GetPeerIterator), (Positions{3, 6}));
    EXPECT_EQ(positionsOf(&ITessarigPeerIterator::Next), (Positions{3}));
    EXPECT_EQ(positionsOf(&Found::DeviceArrived, &Found::DeviceRemoved), (Positions{3, 4}));
    EXPECT_EQ(positionsOf(&Discovery::InstallDeviceNotifications, &Discovery::UninstallDeviceNotifications),
              (Positions{3, 4}));
}

TEST(TessarigAPITest, IdsAndCodesAreTheLibrarys)
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
    EXPECT_EQ(E_NOINTERFACE, 0x80000004);
}
