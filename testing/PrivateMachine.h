#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string_view>

// What `scripts/private-machine` gives the programs that it runs.

inline constexpr const char* segmentPath = "/dev/shm/qsl_pref_mutex";

/// Throws unless the daemon's paths are this program's own.
inline void requirePrivateMachine()
{
    if (!getenv("OSTRIVANE_PRIVATE_MACHINE"))
        throw std::runtime_error("not on a machine of its own: run it by scripts/private-machine");
}

/// Whether the machine is one of mounts, which may be changed; otherwise its paths are those of the real one.
inline bool mayMount()
{
    const char* machine = getenv("OSTRIVANE_PRIVATE_MACHINE");
    return machine && machine == std::string_view("mounted");
}
