#pragma once

#include <chrono>
#include <thread>

/// Long enough for the slowest machine and the slowest sanitizer; nobody waits that long but for a fault.
inline constexpr std::chrono::seconds maxWait{20};

/// Looks every millisecond whether it holds.
template <typename Predicate>
bool waitFor(Predicate predicate, std::chrono::milliseconds time = maxWait)
{
    const auto end = std::chrono::steady_clock::now() + time;
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
    return waitFor([&] { return read() == expected; }) &&
           !waitFor([&] { return read() != expected; }, std::chrono::milliseconds(60));
}
