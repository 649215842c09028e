#pragma once

#include <functional>

#include "control/Options.h"
#include "control/PreferenceFile.h"

/// What becomes of a file that the reader refuses.
enum class Refused
{
    Stays,
    MayBeReplaced
};

/// Changes the file as a card's own save does: with the shared mutex held, read anew, and replaced by a new one. A file
/// that is not there is begun with an empty table. What of the old file has no place in the new one is told on stderr.
///
/// `change` gets the file as it was read, alters its table, and returns whether there is something to write. While it
/// runs no card of the machine can save, so it waits for nothing.
///
/// Throws CommandError, with the file as it was.
void changeFile(const ChangeOptions& options, Refused refused, const std::function<bool(PreferenceFile&)>& change);
