#pragma once

#include <string>

// Preference files to migrate: cards in groups of sixteen, three or four settings a card, and on each group all
// settings that move to the cards.

/// Makes the file's folder if it has to.
void writeUnmigrated(const std::string& path, int cards);

/// Whether no group has a setting left that would be moved.
bool isMigrated(const std::string& path);
