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

/// A setting's value. Made from a string literal it would be a bool, as the literal is a pointer: say std::string.
/// Whatever it was when it was written, it is a string when it is read again.
using PreferenceValue = boost::variant2::variant<bool, long, double, std::string>;

/// The attributes of one key, in the order in which each name was first set.
using PreferenceAttributes = std::list<std::pair<std::string, PreferenceValue>>;

/// All keys, in the order in which each was first set. A key is a card's id or "group" and the group's id.
/// One with "group" inside, but not in front, does not survive writing: it is written as a group without the first five
/// bytes.
using PreferenceTable = std::list<std::pair<std::string, PreferenceAttributes>>;

/// One preference file in memory: a table that changes only here until write() is called.
///
/// Used by one thread from construction to destruction. Names and keys are compared as bytes. Looking one up takes no
/// walk through the table: the time grows with the logarithm of its size.
class PreferenceStore
{
public:
    using Visitor = std::function<void(const std::string& name, PreferenceValue& value)>;

    /// Chooses between the user's own file and the system-wide one. Touches neither.
    explicit PreferenceStore(bool useUserFile);
    /// Any file. Touches it not.
    explicit PreferenceStore(const std::string& path);
    explicit PreferenceStore(const char* path) = delete; // would be a bool
    ~PreferenceStore();
    PreferenceStore(const PreferenceStore&) = delete;
    PreferenceStore& operator=(const PreferenceStore&) = delete;

    bool has(const std::string& key, const std::string& name) const;
    /// False leaves `value` alone.
    bool get(const std::string& key, const std::string& name, PreferenceValue& value) const;
    /// Makes the key and the attribute, each behind those that are there, or changes the value where it stands. If
    /// there is no memory for it, throws std::bad_alloc and has changed nothing.
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
    /// Exchanges the tables, and nothing else. Names and values stay where they are in memory.
    void swapTables(PreferenceStore& other) noexcept;

    /// Replaces the table by what the file holds; false leaves the table alone. The report, if there is one, says why,
    /// or what a write of the table would lose.
    bool read(ReadReport* report = nullptr);
    /// As read(), from a text in memory.
    bool readText(std::string text, ReadReport* report = nullptr);
    /// Replaces the file by the table; false leaves the file alone, and errno says why. So does
    /// boost::filesystem::filesystem_error, thrown if the file's folder can't be looked at, or is missing and can't be
    /// made.
    bool write();
    /// Empties the table and writes it.
    bool reset();

    const bool useUserFile;
    PreferenceTable table; ///< Changed by the operations above alone, which keep the index in step.
    std::unique_ptr<PreferenceIO> io;

private:
    using AttributeIndex = std::map<std::string_view, PreferenceAttributes::iterator>;

    /// Where a key stands in the table. The names in the indexes are those in the lists, whose nodes don't move.
    struct Place
    {
        PreferenceTable::iterator key;
        AttributeIndex attributes; ///< Where they stand, once there are so many that a walk would take longer.
    };
    using Index = std::map<std::string_view, Place>;

    static PreferenceAttributes::iterator find(const Place& place, const std::string& name);
    const PreferenceValue* find(const std::string& key, const std::string& name) const;
    // Both make all that is new first: linking it in can't fail.
    static void append(Place& place, const std::string& name, PreferenceValue value);
    void append(Index::iterator next, const std::string& key, const std::string& name, PreferenceValue value);

    Index index;             ///< Ordered, as whoever writes the file could choose keys of one hash.
    Place* latest = nullptr; ///< That of the last set(), as one key's attributes are set in a row.
};

}
