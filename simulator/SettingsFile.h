#pragma once

#include "simulator/SimulatedCard.h"

/// Saves a card's settings as lines of name and value into a file of the card's own, which changes in one step.
/// False if that failed. The caller holds the SharedPreferenceMutex.
bool saveSettingsFile(int64_t id, const SimulatedCard::Settings& settings);
