#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

#include "preferences/PreferenceUpdater.h"

/// The preference file, and what a start of the daemon would make of it.
struct FileStatus
{
    std::string path;
    bool missing = false;
    std::string refusal;    ///< Why it can't be read; empty if it can.
    bool irregular = false; ///< Refused as it is a directory, a pipe or the like.
    bool unread = false;    ///< Refused before anything of it was looked at, as it could not be read.
    bool forbidden = false; ///< Refused to this user, who is not root.
    size_t line = 0;        ///< Of the refusal, with the column; 0 if the file as a whole is meant.
    size_t column = 0;
    size_t cards = 0;
    size_t groups = 0;
    size_t settings = 0;
    size_t losses = 0; ///< Places that the next write would lose.
    std::time_t changed = 0;
    mode_t mode = 0;
    std::string user;
    PreferenceUpdater::GroupMoves moves;  ///< What is still to be moved, and what can't be.
    std::string obstacle;                 ///< What keeps everybody from replacing the file; empty if nothing is known.
    std::vector<std::string> temporaries; ///< Left beside its folder by a save that never ended.
};

FileStatus lookAtFile(const std::string& path);
