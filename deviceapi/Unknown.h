#pragma once

#include <cstdint>
#include <cstring>

/// Identifies an interface of the library. Opaque: compared byte by byte, never parsed.
struct InterfaceId
{
    uint8_t bytes[16];

    friend bool operator==(const InterfaceId& left, const InterfaceId& right)
    {
        return memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
    }
};
static_assert(sizeof(InterfaceId) == 16 && alignof(InterfaceId) == 1);

inline constexpr InterfaceId IID_IUnknown = {
    {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

/// Result of an operation of the library or of a callback. Zero is success.
using ResultCode = uint32_t;

inline constexpr ResultCode S_OK = 0;
inline constexpr ResultCode E_NOINTERFACE = 0x80000004;
inline constexpr ResultCode E_FAIL = 0x80000008;

/// The first operations of every interface. The other side calls by position in the table, so operations are never
/// reordered; the numbers behind them are those positions. No interface has a destructor: an object is destroyed by its
/// last Release.
struct IUnknown
{
    /// On success `*out` carries a reference that the caller owns.
    virtual ResultCode QueryInterface(InterfaceId iid, void** out) = 0; // 0
    /// Returns the new count. Any thread.
    virtual int64_t AddRef() = 0; // 1
    /// Returns the new count; at 0 the object is gone. Any thread.
    virtual int64_t Release() = 0; // 2
};
