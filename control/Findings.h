#pragma once

#include <string>
#include <vector>

#include "control/Json.h"
#include "control/PreferenceFile.h"
#include "control/SettingChanges.h"
#include "preferences/PreferenceUpdater.h"

/// What there is to say of a preference file, found without touching it: by the reader, and by a start's migration in
/// memory. Of a file that is refused there is the report alone.
struct Findings
{
    explicit Findings(const std::string& path);

    PreferenceFile file;
    size_t cards = 0;
    size_t groups = 0;
    size_t settings = 0;
    std::string notKept; ///< As PreferenceFile has it.
    PreferenceUpdater::GroupMoves moves;
    std::vector<SettingChange> changes; ///< What a start would make of it.
};

/// What becomes of each group that has something to move.
Json movesAsJson(const PreferenceUpdater::GroupMoves& moves);

/// All of them as one object, in one line. Its names are for programs, and stay.
std::string jsonOf(const Findings& findings);
