#pragma once

#include "settings/NameTable.h"

inline namespace ostrivane
{

// Conversion modes: 0 to 4 are done without hardware, from 1001 on by the card's own converters. Plain functions of
// their arguments: any thread.

inline constexpr NameTable conversionModes{{0, "Off"},
                                           {{0, "Off"},
                                            {1, "Letterbox 16:9"},
                                            {2, "Anamorphic"},
                                            {3, "720pto1080iCrossConversion"},
                                            {4, "SDAnamorphicTo43CenterCut"},
                                            {1001, "Hardware Letterbox 16:9"},
                                            {1002, "Hardware Anamorphic"},
                                            {1003, "Hardware Center Cut"},
                                            {1004, "Hardware Down Conversion 2K"},
                                            {1005, "Hardware Down Conversion 4K"},
                                            {1006, "Hardware Cross Conversion to 720p 1080p"},
                                            {1007, "Hardware Up Conversion Anamorphic 720p"},
                                            {1008, "Hardware Up Conversion Anamorphic 1080i"},
                                            {1009, "Hardware Up Conversion Anamorphic 14:9 to 720p"},
                                            {1010, "Hardware Up Conversion Anamorphic 14:9 to 1080i"},
                                            {1011, "Hardware Up Conversion Pillarbox 720p"},
                                            {1012, "Hardware Up Conversion Pillarbox 1080i"}}};

/// "Off" for a number without a name. That includes mode 2000, which only isConversionAvailable knows.
constexpr const char* conversionModeName(uint32_t number) { return conversionModes.name(number); }

constexpr uint32_t conversionModeFromName(const char* name) { return conversionModes.number(name); }

constexpr bool isDownConversionMode(uint32_t mode) { return mode == 1 || mode == 2 || (mode >= 1001 && mode <= 1005); }

/// What a card's two flag words must and must not hold for a mode. Where `counterpart` is not 0, that hardware mode
/// does the same better: the mode is offered only where its counterpart is not.
struct ConversionRequirements
{
    uint32_t mode;
    uint64_t primarySet;
    uint64_t primaryClear;
    uint64_t secondarySet;
    uint64_t secondaryClear;
    uint32_t counterpart;
};

inline constexpr ConversionRequirements conversionRequirements[] = {
    {0, 0x8000, 0x40000, 0, 0, 0},
    {1, 0, 0, 0, 0x4, 1001},
    {2, 0, 0, 0, 0x4, 1002},
    {3, 0x8000, 0x40000, 0, 0x4, 1006},
    {4, 0x8000, 0x40000, 0, 0x4, 0},
    {1001, 0x18000, 0, 0, 0, 0},
    {1002, 0x18000, 0, 0, 0, 0},
    {1003, 0x38000, 0, 0, 0, 0},
    {1004, 0x2098000, 0, 0, 0x400, 0},
    {1005, 0, 0, 0x800000, 0x100000000, 0},
    {1006, 0xB8000, 0, 0, 0, 0},
    {1007, 0xB8000, 0, 0, 0, 0},
    {1008, 0xB8000, 0, 0, 0, 0},
    {1009, 0xB8000, 0x100000000, 0, 0, 0},
    {1010, 0xB8000, 0x100000000, 0, 0, 0},
    {1011, 0xB8000, 0, 0, 0, 0},
    {1012, 0xB8000, 0, 0, 0, 0},
    {2000, 0, 0, 0x800000000000, 0, 0},
};

/// False for every mode without requirements of its own.
constexpr bool isConversionAvailable(uint32_t mode, uint64_t primaryFlags, uint64_t secondaryFlags)
{
    const auto fits = [](uint64_t flags, uint64_t set, uint64_t clear) { return (flags & (set | clear)) == set; };
    for (const ConversionRequirements& row : conversionRequirements)
        if (row.mode == mode)
            return fits(primaryFlags, row.primarySet, row.primaryClear) &&
                   fits(secondaryFlags, row.secondarySet, row.secondaryClear) &&
                   (row.counterpart == 0 || !isConversionAvailable(row.counterpart, primaryFlags, 0));
    return false;
}

/// Always an available mode, as far as the first flag word alone can tell.
constexpr uint32_t defaultConversionMode(uint64_t primaryFlags)
{
    for (const uint32_t mode : {0u, 1001u})
        if (isConversionAvailable(mode, primaryFlags, 0))
            return mode;
    return 1;
}

}
