#pragma once

#include "settings/NameTable.h"

inline namespace ostrivane
{

// Audio connections in two vocabularies whose numbers differ: "Analog" is 2 in the full one and 0 in the basic one.
// Plain functions of their arguments: any thread.

inline constexpr NameTable audioConnections{
    {0, "Embedded"},
    {{0, "Embedded"}, {1, "AESEBU"}, {2, "Analog"}, {3, "AnalogXLR"}, {4, "AnalogRCA"}, {5, "Microphone"}}};

inline constexpr NameTable basicAudioConnections{{0, "Analog"}, {{0, "Analog"}, {1, "AESEBU"}}};

constexpr const char* audioConnectionName(uint32_t number) { return audioConnections.name(number); }

constexpr uint32_t audioConnectionFromName(const char* name) { return audioConnections.number(name); }

constexpr const char* basicAudioConnectionName(uint32_t number) { return basicAudioConnections.name(number); }

constexpr uint32_t basicAudioConnectionFromName(const char* name) { return basicAudioConnections.number(name); }

}
