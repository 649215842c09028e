#include "preferences/PreferenceUpdater.h"

#include <exception>
#include <map>

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

}

PreferenceUpdater::PreferenceUpdater(bool useUserFile) : store(std::make_unique<PreferenceStore>(useUserFile)) {}

int PreferenceUpdater::update()
{
    changedCount = 0;
    failedCount = 0;
    try
    {
        if (!store->read())
            return Failed;
        moveAll();
        if (summary() == Nothing)
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
    return move(key, oldName, newName, cardsOfGroup(key));
}

int PreferenceUpdater::moveAttributeToCards(const std::string& key, const std::string& name)
{
    return moveAttributeToCards(key, name, name);
}

PreferenceUpdater::Cards PreferenceUpdater::cardsOfGroup(const std::string& key)
{
    Cards cards;
    if (PreferenceIO::isGroup(key))
        for (const std::string& card : store->keys())
            if (!PreferenceIO::isGroup(card) && PreferenceIO::groupKey(card) == key)
                cards.insert(card);
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

int PreferenceUpdater::move(const std::string& key, const std::string& oldName, const std::string& newName,
                            const Cards& cards)
{
    PreferenceValue value;
    if (!store->get(key, oldName, value))
        return Nothing;
    if (cards.empty())
        return Failed;
    for (const std::string& card : cards)
        store->set(card, newName, value);
    store->remove(key, oldName);
    return Moved;
}

void PreferenceUpdater::moveAll()
{
    // The cards of all groups in one walk: a move makes no key, so they stay what they are.
    std::map<std::string, Cards> cardsByGroup;
    forEachKey(
        [&](const std::string& key)
        {
            if (!PreferenceIO::isGroup(key))
                cardsByGroup[PreferenceIO::groupKey(key)].insert(key);
        });
    forEachKey(
        [&](const std::string& key)
        {
            if (!PreferenceIO::isGroup(key))
                return;
            const Cards& cards = cardsByGroup[key];
            for (const Renaming& renaming : renamings)
                tally(move(key, renaming.onGroup, renaming.onCard, cards));
        });
}
