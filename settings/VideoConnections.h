#pragma once

#include "settings/NameTable.h"

inline namespace ostrivane
{

// Video connections, and the analog ones among them as a vocabulary with a default of its own. Plain functions of their
// arguments: any thread.

inline constexpr NameTable videoConnections{{0, "SDI"},
                                            {{0, "SDI"},
                                             {1, "HDMI"},
                                             {2, "Component"},
                                             {3, "Composite"},
                                             {4, "SVideo"},
                                             {5, "Optical SDI"},
                                             {6, "Ethernet"},
                                             {7, "Optical Ethernet"}}};

constexpr const char* videoConnectionName(uint32_t number) { return videoConnections.name(number); }

constexpr uint32_t videoConnectionFromName(const char* name) { return videoConnections.number(name); }

/// A number that no connection has counts as digital.
constexpr bool isDigitalVideoConnection(uint32_t number)
{
    constexpr uint32_t digital = 0xE3;
    return number > 7 || (digital >> number & 1) != 0;
}

constexpr bool isCompositeOrSVideo(uint32_t number) { return number == 3 || number == 4; }

/// "Component" for whatever is not analog.
constexpr const char* analogVideoConnectionName(uint32_t number)
{
    return videoConnectionName(isDigitalVideoConnection(number) ? 2 : number);
}

/// The number of "Component" for whatever is not the name of an analog connection.
constexpr uint32_t analogVideoConnectionFromName(const char* name)
{
    const uint32_t number = videoConnectionFromName(name);
    return isDigitalVideoConnection(number) ? 2 : number;
}

}
