#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <boost/variant2/variant.hpp>

inline namespace ostrivane
{

class PreferenceIO;
struct ReadReport;

/// A setting's value. After a write and a read every value is a string. Made from a string literal it would be a bool,
/// as the literal is a pointer: say std::string.
using PreferenceValue = boost::variant2::variant<bool, long, double, std::string>;

/// The settings of one key, in the order in which each name was first set. The file calls a setting an attribute.
using PreferenceAttributes = std::list<std::pair<std::string, PreferenceValue>>;

/// All keys, in the order in which each was first set. A key is a card's id, or "group" and the group's id. A key with
/// "group" further inside does not survive writing: it is written as a group's, without its first five bytes.
using PreferenceTable = std::list<std::pair<std::string, PreferenceAttributes>>;

/// Holds the settings of one preference file in memory. Changes reach the file only by write().
///
/// Used by one thread.
///
/// Names and keys are compared as bytes. Looking one up takes time in proportion to the logarithm of the table's size.
class PreferenceStore
{
public:
    using Visitor = std::function<void(const std::string& name, PreferenceValue& value)>;

    /// Chooses between the user's own file and the system-wide one. Touches neither.
    explicit PreferenceStore(bool useUserFile);
    /// Any file. Touches none.
    explicit PreferenceStore(const std::string& path);
    explicit PreferenceStore(const char* path) = delete; // would be a bool
    ~PreferenceStore();
    PreferenceStore(const PreferenceStore&) = delete;
    PreferenceStore& operator=(const PreferenceStore&) = delete;

    // Some of these operations have no caller in the daemon: other programs share this class.

    bool has(const std::string& key, const std::string& name) const;
    /// False leaves `value` alone.
    bool get(const std::string& key, const std::string& name, PreferenceValue& value) const;
    /// Appends the key and the attribute if they are missing; else changes the value where it stands. Throws
    /// std::bad_alloc, having changed nothing.
    void set(const std::string& key, const std::string& name, PreferenceValue value);
    void set(const std::string& key, const std::string& name, const char* literal) = delete;
    /// The key stays, even without attributes.
    void remove(const std::string& key, const std::string& name);
    void removeKey(const std::string& key);
    std::list<std::string> keys() const;

    /// Hands out copies: what the visitor does to its value does not reach the table. It must not change the store.
    void forEachAttribute(const std::string& key, const Visitor& visitor);
    void forEachAttribute(const std::string& key, const Visitor& visitor) const;

    void clear();
    /// Exchanges the tables, and nothing else. Names and values keep their addresses.
    void swapTables(PreferenceStore& other) noexcept;

    /// Replaces the table by what the file holds; false leaves the table alone. The report, if one is given, says why,
    /// or what a write of the table would lose.
    bool read(ReadReport* report = nullptr);
    /// As read(), for a text in memory.
    bool parseText(std::string text, ReadReport* report = nullptr);
    /// Replaces the file by the table; false leaves the file alone, and errno says why. Throws
    /// boost::filesystem::filesystem_error, leaving the file alone, if its folder can't be inspected, or is missing and
    /// can't be made.
    bool write();
    /// Empties the table and writes it.
    bool reset();

    // Public: tests and other programs look at the table directly.
    const bool useUserFile;
    PreferenceTable table; ///< Changed by the operations above alone, which keep the index in step.
    std::unique_ptr<PreferenceIO> io;

private:
    using AttributeIndex = std::map<std::string_view, PreferenceAttributes::iterator>;

    /// Where a key stands in the table. The names in the indexes are those in the lists, whose nodes don't move.
    struct Place
    {
        PreferenceTable::iterator key;
        AttributeIndex attributes; ///< Empty as long as the key has so few that a walk is faster.
    };
    using Index = std::map<std::string_view, Place>;

    static PreferenceAttributes::iterator find(const Place& place, const std::string& name);
    const PreferenceValue* find(const std::string& key, const std::string& name) const;
    // Both allocate first: what follows can't fail.
    static void append(Place& place, const std::string& name, PreferenceValue value);
    void append(Index::iterator next, const std::string& key, const std::string& name, PreferenceValue value);

    Index index;             ///< Ordered, as whoever writes the file could choose keys of one hash.
    Place* latest = nullptr; ///< The key of the last set(): one key's attributes are mostly set in a row.
};

}
