#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "preferences/PreferenceStore.h"

/// Moves settings that a preference file holds for a group of cards down to each card of the group.
///
/// Six attributes of network output once belonged to groups; update() gives them to the cards under new names. A file
/// in which that is done needs no mark: nothing is found, and the file is not touched. Used by one thread.
class PreferenceUpdater
{
public:
    /// What a move or an update came to; the numbers are the results of the operations below.
    enum Result : int
    {
        Nothing = 0, ///< Nothing to move.
        Moved = 1,
        Failed = 2 ///< A group without cards or beyond the bound, or a file that can't be read or written.
    };

    using Cards = std::set<std::string>;

    /// What became of one group that held any of the six.
    struct GroupMove
    {
        enum Outcome
        {
            Done,
            NoCards,    ///< No card of the group is in the table.
            BeyondBound ///< With it, what is copied would be more than 64 MiB.
        };

        std::string group; ///< Its key.
        Outcome outcome;
        std::vector<std::string> names; ///< Which of the six, as they are called on the group.
        size_t cards;                   ///< How many the group has.
    };
    using GroupMoves = std::vector<GroupMove>;

    /// Chooses the file, as PreferenceStore does. Touches none.
    explicit PreferenceUpdater(bool useUserFile);
    explicit PreferenceUpdater(const std::string& path);
    explicit PreferenceUpdater(const char* path) = delete; // would be a bool
    PreferenceUpdater(const PreferenceUpdater&) = delete;
    PreferenceUpdater& operator=(const PreferenceUpdater&) = delete;

    /// Reads the file, moves, and writes it if anything was moved or failed to. A group without cards fails alone, as
    /// does one that would bring what is copied beyond 64 MiB: the others' moves are written. A file that can't be read
    /// or written stays as it was. A later update tries again what failed. Throws nothing.
    int update();

    /// The middle of update(): moves in the table, whatever it was filled from, and touches no file. So it tells what
    /// an update would do: `store` has then what it would write. Counts anew and gives the sum; the groups that there
    /// was something to move on are put behind those in `groups`, in the order of the table. Throws std::bad_alloc.
    int migrate(GroupMoves* groups = nullptr);

    /// Walks over the keys that there are at the beginning, so that `fn` may change the table.
    void forEachKey(const std::function<void(std::string)>& fn);

    int moveAttributeToCards(const std::string& key, const std::string& oldName, const std::string& newName);
    int moveAttributeToCards(const std::string& key, const std::string& name);

    /// Ordered by their bytes. Empty if the key is not a group's.
    Cards cardsOfGroup(const std::string& key);

    void tally(int result);
    int summary() const;

    void setAttribute(const std::string& key, const std::string& name, const PreferenceValue& value);
    void setAttribute(const std::string& key, const std::string& name, const char* literal) = delete;
    bool getAttribute(const std::string& key, const std::string& name, PreferenceValue& value) const;
    void removeAttribute(const std::string& key, const std::string& name);
    void removeKey(const std::string& key);
    bool reload();
    bool save();

    std::unique_ptr<PreferenceStore> store;
    int changedCount = 0; ///< Moves of one attribute off one group that worked, in the last update.
    int failedCount = 0;  ///< And those that did not.

private:
    struct Move
    {
        std::string oldName;
        std::string newName;
        PreferenceValue value;
    };

    /// Keys in the table, in any order: what a move does to one card doesn't depend on the others.
    using CardKeys = std::vector<const std::string*>;

    std::vector<Move> movesOf(const std::string& key) const;
    int move(const std::string& key, const std::vector<Move>& moves, const CardKeys& cards);
    static size_t growthOf(const std::vector<Move>& moves, const CardKeys& cards);
    GroupMove moveGroup(const std::string& key, const std::vector<Move>& moves, const CardKeys& cards, size_t& room);
    std::map<std::string, CardKeys> cardsByGroup() const;
};
