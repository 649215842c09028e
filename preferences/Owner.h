#pragma once

#include <cstdio>
#include <utility>

#include <unistd.h>

inline namespace ostrivane
{

/// Owns a handle of the operating system, or `none`, and closes it. Can be moved, not copied. Used by one thread.
template <typename Handle, auto none, auto closer>
class Owner
{
public:
    Owner() = default;
    explicit Owner(Handle handle) : handle(handle) {}
    Owner(Owner&& other) noexcept : handle(other.release()) {}
    Owner& operator=(Owner&& other) noexcept
    {
        Owner(std::move(other)).swap(*this);
        return *this;
    }
    ~Owner()
    {
        if (*this)
            static_cast<void>(closer(handle));
    }

    explicit operator bool() const { return handle != static_cast<Handle>(none); }
    Handle get() const { return handle; }
    /// Gives up the handle: the caller closes it.
    Handle release() { return std::exchange(handle, static_cast<Handle>(none)); }
    void swap(Owner& other) noexcept { std::swap(handle, other.handle); }

private:
    Handle handle = static_cast<Handle>(none);
};

/// A file descriptor.
using Descriptor = Owner<int, -1, ::close>;

/// A stream of the C library, with the descriptor under it.
using Stream = Owner<std::FILE*, nullptr, std::fclose>;

}
