#include "preferences/PreferenceUpdater.h"

#include <exception>
#include <optional>

#include "preferences/PreferenceIO.h"

namespace
{

struct Renaming
{
    const char* onGroup;
    const char* onCard;
};

constexpr Renaming renamings[] = {
    {"NetOutputVideoIPv4", "NetOutputVideoIPv4_0"},         {"NetOutputVideoPort", "NetOutputVideoPort_0"},
    {"NetOutputAudioIPv4", "NetOutputAudioIPv4_0"},         {"NetOutputAudioPort", "NetOutputAudioPort_0"},
    {"NetOutputAncillaryIPv4", "NetOutputAncillaryIPv4_0"}, {"NetOutputAncillaryPort", "NetOutputAncillaryPort_0"},
};

/// How many bytes all copies may take in the file. A value goes to every card of its group, and whoever writes the file
/// chooses how many cards those are: without a limit a small file could fill memory and disk.
constexpr size_t maxGrowth = 1 << 26;

}

PreferenceUpdater::PreferenceUpdater(bool useUserFile) : store(std::make_unique<PreferenceStore>(useUserFile)) {}

PreferenceUpdater::PreferenceUpdater(const std::string& path) : store(std::make_unique<PreferenceStore>(path)) {}

int PreferenceUpdater::update()
{
    changedCount = 0;
    failedCount = 0;
    try
    {
        if (!store->read())
            return Failed;
        if (migrate() == Nothing)
            return Nothing;
        // Also after a failure, so that what was moved reaches the file.
        return store->write() ? summary() : Failed;
    }
    catch (const std::exception&)
    {
        return Failed; // no memory, or the file's folder can't be looked at: the file is as it was
    }
}

void PreferenceUpdater::forEachKey(const std::function<void(std::string)>& fn)
{
    for (const std::string& key : store->keys())
        fn(key);
}

int PreferenceUpdater::moveAttributeToCards(const std::string& key, const std::string& oldName,
                                            const std::string& newName)
{
    PreferenceValue value;
    if (!store->get(key, oldName, value))
        return Nothing;
    return moveToCards(key, {{oldName, newName, value}}, cardsByGroup()[key]);
}

int PreferenceUpdater::moveAttributeToCards(const std::string& key, const std::string& name)
{
    return moveAttributeToCards(key, name, name);
}

PreferenceUpdater::Cards PreferenceUpdater::cardsOfGroup(const std::string& key)
{
    Cards cards;
    const CardKeys keys = cardsByGroup()[key];
    for (const std::string* card : keys)
        cards.insert(*card);
    return cards;
}

void PreferenceUpdater::tally(int result)
{
    changedCount += result == Moved;
    failedCount += result == Failed;
}

int PreferenceUpdater::summary() const
{
    if (failedCount != 0)
        return Failed;
    return changedCount != 0 ? Moved : Nothing;
}

void PreferenceUpdater::setAttribute(const std::string& key, const std::string& name, const PreferenceValue& value)
{
    store->set(key, name, value);
}

bool PreferenceUpdater::getAttribute(const std::string& key, const std::string& name, PreferenceValue& value) const
{
    return store->get(key, name, value);
}

void PreferenceUpdater::removeAttribute(const std::string& key, const std::string& name) { store->remove(key, name); }

void PreferenceUpdater::removeKey(const std::string& key) { store->removeKey(key); }

bool PreferenceUpdater::reload()
{
    store->clear();
    return store->read();
}

bool PreferenceUpdater::save() { return store->write(); }

/// The key's settings that are to be moved, in the order of `renamings`.
std::vector<PreferenceUpdater::Move> PreferenceUpdater::movesOf(const std::string& key) const
{
    std::vector<Move> moves;
    for (const Renaming& renaming : renamings)
        if (PreferenceValue value; store->get(key, renaming.onGroup, value))
            moves.push_back({renaming.onGroup, renaming.onCard, value});
    return moves;
}

/// Goes card by card, so that each card is looked up once.
int PreferenceUpdater::moveToCards(const std::string& key, const std::vector<Move>& moves, const CardKeys& cards)
{
    if (cards.empty())
        return Failed;
    for (const std::string* card : cards)
        for (const Move& move : moves)
            store->set(*card, move.newName, move.value);
    for (const Move& move : moves)
        store->remove(key, move.oldName);
    return Moved;
}

std::map<std::string, PreferenceUpdater::CardKeys> PreferenceUpdater::cardsByGroup() const
{
    std::map<std::string, CardKeys> result;
    for (const auto& [key, attributes] : store->table)
        if (!PreferenceIO::isGroup(key))
            result[PreferenceIO::groupKey(key)].push_back(&key);
    return result;
}

/// How many bytes the moves add to the file.
size_t PreferenceUpdater::growthOf(const std::vector<Move>& moves, const CardKeys& cards)
{
    size_t growth = 0;
    for (const Move& move : moves)
        if (const auto* text = boost::variant2::get_if<std::string>(&move.value)) // as all that was read
            growth += PreferenceIO::writtenSize(*text) * cards.size();
    return growth;
}

PreferenceUpdater::GroupMove PreferenceUpdater::moveGroup(const std::string& key, const std::vector<Move>& moves,
                                                          const CardKeys& cards, size_t& remainingGrowth)
{
    GroupMove result = {key, GroupMove::NoCards, {}, cards.size()};
    for (const Move& move : moves)
        result.names.push_back(move.oldName);
    if (const size_t growth = growthOf(moves, cards); growth > remainingGrowth)
        result.outcome = GroupMove::BeyondBound;
    else if (moveToCards(key, moves, cards) == Moved)
    {
        result.outcome = GroupMove::Done;
        remainingGrowth -= growth;
    }
    return result;
}

int PreferenceUpdater::migrate(GroupMoves* groups)
{
    changedCount = 0;
    failedCount = 0;
    size_t remainingGrowth = maxGrowth;
    std::optional<std::map<std::string, CardKeys>> cards; // of all groups in one walk, once there is something to move
    for (const auto& [key, attributes] : store->table)    // a move makes no key and removes none
    {
        if (!PreferenceIO::isGroup(key))
            continue;
        const std::vector<Move> moves = movesOf(key);
        if (moves.empty())
            continue;
        if (!cards)
            cards = cardsByGroup();
        GroupMove moved = moveGroup(key, moves, (*cards)[key], remainingGrowth);
        for (size_t i = 0; i < moves.size(); ++i)
            tally(moved.outcome == GroupMove::Done ? Moved : Failed);
        if (groups)
            groups->push_back(std::move(moved));
    }
    return summary();
}
