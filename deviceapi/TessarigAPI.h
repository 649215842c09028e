#pragma once

#include <cstdint>
#include <cstdlib>

#include "deviceapi/COMPtr.h"
#include "deviceapi/Unknown.h"

// The interfaces of the device library that the daemon uses, as the library lays them out in memory: an operation is
// called by its position in the table, which the number behind it tells. So operations that the daemon does not call
// stand here too, unnamed where nothing is known of them: without them the others would move.

inline constexpr InterfaceId IID_ITessarigGroupedDevice = {
    {0x30, 0xD4, 0x14, 0x29, 0x39, 0x98, 0x4B, 0x6D, 0x84, 0xF8, 0x78, 0xC9, 0x4A, 0x79, 0x7C, 0x6E}};
inline constexpr InterfaceId IID_ITessarigAttributes = {
    {0xF4, 0x75, 0x51, 0xD7, 0xAD, 0x22, 0x47, 0xAF, 0xBC, 0xFD, 0x6B, 0xE8, 0x8A, 0xA8, 0x79, 0xD9}};
inline constexpr InterfaceId IID_ITessarigHardwareState = {
    {0x89, 0xD2, 0x02, 0xA8, 0xD9, 0x71, 0x49, 0xE4, 0xA9, 0x7F, 0xAE, 0x9D, 0x06, 0xE0, 0xCD, 0xD4}};
inline constexpr InterfaceId IID_ITessarigConfiguration = {
    {0x5A, 0x68, 0xFF, 0xD4, 0x1C, 0x12, 0x4E, 0xDE, 0xA6, 0xD2, 0x45, 0x45, 0x1D, 0x38, 0x5F, 0xC1}};
inline constexpr InterfaceId IID_ITessarigNotification = {
    {0x1D, 0x70, 0xFA, 0xAC, 0xFD, 0x27, 0x48, 0x66, 0x9D, 0xE6, 0x09, 0x39, 0xD1, 0xE4, 0xC7, 0xF1}};
inline constexpr InterfaceId IID_ITessarigTopicBroadcaster = {
    {0x2A, 0x73, 0x20, 0xAB, 0x3F, 0x9C, 0x4E, 0xD1, 0xB3, 0x64, 0xD1, 0x71, 0x32, 0xCD, 0xC9, 0x3D}};
inline constexpr InterfaceId IID_ITessarigPeerDevice = {
    {0x16, 0x09, 0x34, 0x66, 0x67, 0x4A, 0x43, 0x2B, 0x9D, 0xA0, 0x1A, 0xC2, 0xC5, 0xA8, 0x24, 0x1C}};
inline constexpr InterfaceId IID_ITessarigNotificationCallback = {
    {0xB0, 0x02, 0xA1, 0xEC, 0x07, 0x0D, 0x42, 0x88, 0x82, 0x89, 0xBD, 0x5D, 0x36, 0xE5, 0xFF, 0x0D}};

/// What a device tells its subscribers, by four-character code.
struct Topic
{
    static constexpr uint32_t setd = 0x73657464; ///< Settings changed: they want saving.
    static constexpr uint32_t hwic = 0x68776963; ///< Hardware notification with one value.
    static constexpr uint32_t hwiC = 0x68776943; ///< Hardware notification with a value and an extra one.
    static constexpr uint32_t pref = 0x70726566; ///< Preferences saved: posted by the daemon, never subscribed to.
};

/// Attributes of a device.
struct Attribute
{
    static constexpr uint32_t dgid = 0x64676964; ///< Id of the sub-device group, signed.
    static constexpr uint32_t nsbd = 0x6e736264; ///< Number of devices that complete the group, unsigned.
    static constexpr uint32_t subi = 0x73756269; ///< Order inside the group, signed, lowest first.
    static constexpr uint32_t peid = 0x70656964; ///< Links a peer to a gathered device.
};

/// Ids of the library's own information.
struct Information
{
    static constexpr uint32_t eicf = 0x65696366; ///< Its success decides whether device notifications are installed.
};

/// The device itself: a handle, known by its raw pointer, and the root of the queries for everything below.
struct ITessarig : IUnknown
{
};

/// Its presence on a device says that the device belongs to a sub-device group.
struct ITessarigGroupedDevice : IUnknown
{
};

/// Required of every device.
struct ITessarigAttributes : IUnknown
{
    virtual void position3() { abort(); }
    /// Fails if the device does not have the attribute, as for `dgid` on a device without a group.
    virtual ResultCode GetInt(uint32_t id, int64_t* value) = 0; // 4
};

/// State and hardware events of one device. Any thread.
struct ITessarigHardwareState : IUnknown
{
    /// Both: negative if the device did not take the notification.
    virtual int32_t HandleHardwareNotification(uint32_t value) = 0;                  // 3
    virtual int32_t HandleHardwareNotificationEx(uint32_t value, int64_t extra) = 0; // 4
    /// Saves the device's settings into the preferences. Called with the SharedPreferenceMutex held.
    virtual ResultCode PersistState() = 0;  // 5
    virtual ResultCode PrepareDevice() = 0; // 6
    virtual ResultCode PrepareGroup() = 0;  // 7
};

/// Gives the ITessarigHardwareState that serves all calls but the two of preparation.
struct ITessarigConfiguration : IUnknown
{
    virtual void position3() { abort(); }
    virtual void position4() { abort(); }
    virtual void position5() { abort(); }
    virtual void position6() { abort(); }
    virtual void position7() { abort(); }
    virtual void position8() { abort(); }
    virtual void position9() { abort(); }
    virtual void position10() { abort(); }
    virtual void position11() { abort(); }
    virtual void position12() { abort(); }
    virtual void position13() { abort(); }
    virtual void position14() { abort(); }
    virtual void position15() { abort(); }
    virtual void position16() { abort(); }
    virtual void position17() { abort(); }
    virtual void position18() { abort(); }
    virtual ResultCode HardwareNotificationHandled() = 0; // 19
};

/// Implemented by the daemon, called on library threads.
struct ITessarigNotificationCallback : IUnknown
{
    virtual ResultCode Notify(uint32_t topic, int64_t param1, int64_t param2) = 0; // 3
};

struct ITessarigNotification : IUnknown
{
    /// From now on `callback` is notified of `topic`.
    virtual ResultCode Subscribe(uint32_t topic, ITessarigNotificationCallback* callback) = 0; // 3
    /// After it has returned, no Notify for `topic` runs or comes. Harmless for a topic that was never subscribed.
    virtual ResultCode Unsubscribe(uint32_t topic, ITessarigNotificationCallback* callback) = 0; // 4
};

struct ITessarigTopicBroadcaster : IUnknown
{
    virtual ResultCode Post(uint32_t topic, int64_t param1, int64_t param2) = 0; // 3
};

struct ITessarigPeerIterator;

/// A device as its peers see it.
struct ITessarigPeerDevice : IUnknown
{
    virtual ResultCode GetDevice(ITessarig** out) = 0; // 3
    virtual void position4() { abort(); }
    virtual void position5() { abort(); }
    virtual ResultCode GetPeerIterator(ITessarigPeerIterator** out) = 0; // 6
};

struct ITessarigPeerIterator : IUnknown
{
    /// Non-zero at the end.
    virtual ResultCode Next(ITessarigPeerDevice** out) = 0; // 3
};

/// Implemented by the daemon, called on library threads. `device` is borrowed for the time of the call, and its raw
/// pointer is the same at the removal as at the arrival.
struct ITessarigDeviceNotificationCallback : IUnknown
{
    virtual ResultCode DeviceArrived(ITessarig* device) = 0; // 3
    virtual ResultCode DeviceRemoved(ITessarig* device) = 0; // 4
};

struct ITessarigDiscovery : IUnknown
{
    /// Reports every device, also those that are already present. Callbacks may come before it has returned.
    virtual ResultCode InstallDeviceNotifications(ITessarigDeviceNotificationCallback* callback) = 0; // 3
    /// No callback runs or comes once it has returned.
    virtual ResultCode UninstallDeviceNotifications() = 0; // 4
};

struct ITessarigAPIInformation : IUnknown
{
    virtual void position3() { abort(); }
    virtual ResultCode GetInt(uint32_t id, int64_t* value) = 0; // 4
};
