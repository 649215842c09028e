#pragma once

#include <string>

#include "preferences/ReadReport.h"

inline namespace ostrivane
{

class PreferenceStore;

/// Carries the table of a store to and from its preference file, and knows the rules of its keys. Belongs to the store
/// and is used by the same one thread.
///
/// The file may be written by every user of the machine and is read by root, so reading takes nothing on trust: it
/// costs time and memory in proportion to the file, whatever the file holds.
class PreferenceIO
{
public:
    /// The store outlives this object. The path is empty, and so reading and writing fail, if the user's file is wanted
    /// and HOME is not set.
    PreferenceIO(PreferenceStore* store, bool useUserFile);
    /// Any file. A path without a folder stands in the working folder; an empty one fails as above.
    PreferenceIO(PreferenceStore* store, std::string path);

    /// Replaces the table if the file is a preference file. False leaves the table alone; the file is never changed.
    /// The report, if there is one, is written anew.
    bool read(ReadReport* report = nullptr);

    /// Replaces the file in one step, once the new one is on the disk. On false the file is as it was, with nothing
    /// left beside it, and errno says why. Throws boost::filesystem::filesystem_error if its folder can't be looked at,
    /// or is missing and can't be made, and std::bad_alloc; then the file is as it was, too.
    bool write();

    bool reset();

    /// What write() would put into the file. Throws std::bad_alloc.
    std::string text() const;

    /// How many bytes a value takes in the file.
    static size_t writtenSize(const std::string& value);

    /// Whether the key is that of a group: whether "group" occurs in it.
    static bool isGroup(const std::string& key);

    /// The key of the group that a card belongs to, sixteen consecutive ids to one; a group's key gives itself. A key
    /// without a number, or with one beyond 64 bits, gives "group" alone.
    static std::string groupKey(const std::string& key);

    const std::string path;
    PreferenceStore* const store;
};

}
