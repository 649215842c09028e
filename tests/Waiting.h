#pragma once

#include <chrono>
#include <thread>

/// Long enough for the slowest machine and the slowest sanitizer; nobody waits that long but for a fault.
inline constexpr std::chrono::seconds deadline{20};

template <typename Predicate>
bool waitFor(Predicate predicate)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!predicate())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Whether the number gets to `expected` and then stays there while one looks.
template <typename Number, typename Read>
bool staysAt(Number expected, Read read)
{
    if (!waitFor([&] { return read() == expected; }))
        return false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(60);
    while (std::chrono::steady_clock::now() < end)
    {
        if (read() != expected)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
