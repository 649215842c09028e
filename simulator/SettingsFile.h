#pragma once

#include "simulator/SimulatedCard.h"

/// Puts a card's settings into the system-wide preference file, under the card's key, beside what stands there. False
/// if that failed; the file is then as it was. The caller holds the SharedPreferenceMutex.
bool saveSettings(int64_t id, const SimulatedCard::Settings& settings);
