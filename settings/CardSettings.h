#pragma once

#include "settings/VideoConnections.h"

inline namespace ostrivane
{

/// Settings of a card, as far as it depends on them whether they go together.
struct CardSettings
{
    uint32_t videoConnection;
    uint32_t conversionMode;
};

/// Whether a card with these flags takes the settings. `settings` must not be null; other bits of the flag words are
/// not read. Any thread.
constexpr bool isConfigurationAllowed(const CardSettings* settings, uint64_t gateFlags, uint64_t exemptionFlags,
                                      uint64_t connectionFlags)
{
    const bool configurable = (gateFlags & 0x2000) != 0;
    const bool hardwareRefused = (gateFlags & 0x10000) != 0 && (exemptionFlags & 0x100000) == 0;
    const bool analogRefused = (connectionFlags & 0x18) != 0;
    return configurable && !(hardwareRefused && settings->conversionMode > 1000) &&
           !(analogRefused && isCompositeOrSVideo(settings->videoConnection));
}

}
