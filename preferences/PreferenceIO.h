#pragma once

#include <string>

#include "preferences/ReadReport.h"

inline namespace ostrivane
{

class PreferenceStore;

/// Reads and writes the preference file of a store, and holds the rules of its keys.
///
/// Owned by the store. Used by one thread.
///
/// Every user of the machine may write the file, and root reads it. So reading trusts nothing: it takes time and memory
/// in proportion to the file, whatever the file holds.
class PreferenceIO
{
public:
    /// The store outlives this object. The path is empty, and so reading and writing fail, if the user's file is wanted
    /// and HOME is not set.
    PreferenceIO(PreferenceStore* store, bool useUserFile);
    /// Any file. A path without a folder stands in the working folder; an empty one fails as above.
    PreferenceIO(PreferenceStore* store, std::string path);

    /// Replaces the table if the file is a preference file; false leaves the table alone. The report, if one is given,
    /// is overwritten.
    bool read(ReadReport* report = nullptr);

    /// Replaces the file in one step, once the new one is on the disk. On false the file is as it was, with nothing
    /// left beside it, and errno says why. Throws boost::filesystem::filesystem_error if the folder can't be inspected,
    /// or is missing and can't be made, and std::bad_alloc; then, too, the file is as it was.
    bool write();

    /// Empties the table and writes it, with write()'s result.
    bool reset();

    /// What write() would put into the file. Throws std::bad_alloc.
    std::string text() const;

    /// How many bytes a value takes in the file.
    static size_t writtenSize(const std::string& value);

    /// Whether the key is a group's: whether "group" occurs in it.
    static bool isGroup(const std::string& key);

    /// The key of the card's group; sixteen consecutive card ids share one. A group's key gives itself. A key without a
    /// number, or with one beyond 64 bits, gives "group" alone.
    static std::string groupKey(const std::string& key);

    const std::string path;
    PreferenceStore* const store;
};

}
