#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "preferences/PreferenceStore.h"

inline namespace ostrivane
{

/// Moves the settings of network output, which once belonged to groups of cards, to each card of the group.
///
/// Used by one thread.
///
/// A file in which that is done needs no mark: nothing is found to move, and the file is not touched.
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

    /// What became of one group that had settings to move.
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
        std::vector<std::string> names; ///< Of these settings, as they are called on the group.
        size_t cards;                   ///< How many cards the group has.
    };
    using GroupMoves = std::vector<GroupMove>;

    /// Chooses the file, as PreferenceStore does. Touches none.
    explicit PreferenceUpdater(bool useUserFile);
    explicit PreferenceUpdater(const std::string& path);
    explicit PreferenceUpdater(const char* path) = delete; // would be a bool
    PreferenceUpdater(const PreferenceUpdater&) = delete;
    PreferenceUpdater& operator=(const PreferenceUpdater&) = delete;

    /// Reads the file, moves, and writes the file if anything was moved or failed to. A group without cards fails
    /// alone, as does one that would bring what is copied beyond 64 MiB: the others' moves are written. A file that
    /// can't be read or written stays as it was. A later update tries again what failed. Throws nothing.
    int update();

    /// The part of update() between reading and writing: moves in the table, whatever it was filled from. So it tells
    /// what an update would do. Resets the counters and returns their summary(). Appends what became of each group that
    /// had settings to move to `groups`, in the order of the table. Throws std::bad_alloc.
    int migrate(GroupMoves* groups = nullptr);

    // From here to save(): for other programs that migrate; update() uses some of them, the daemon no other.

    /// Calls `fn` with each key that exists at the beginning: `fn` may change the table.
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
    int changedCount = 0; ///< Settings that the last update moved, counted once for each group.
    int failedCount = 0;  ///< Settings that it could not move.

private:
    struct Move
    {
        std::string oldName;
        std::string newName;
        PreferenceValue value;
    };

    /// Points at keys in the table.
    using CardKeys = std::vector<const std::string*>;

    std::vector<Move> movesOf(const std::string& key) const;
    int moveToCards(const std::string& key, const std::vector<Move>& moves, const CardKeys& cards);
    static size_t growthOf(const std::vector<Move>& moves, const CardKeys& cards);
    GroupMove moveGroup(const std::string& key, const std::vector<Move>& moves, const CardKeys& cards,
                        size_t& remainingGrowth);
    std::map<std::string, CardKeys> cardsByGroup() const;
};

}
