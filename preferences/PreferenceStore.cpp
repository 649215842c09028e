#include "preferences/PreferenceStore.h"

#include <algorithm>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceText.h"

namespace
{

constexpr size_t maxUnindexedAttributes = 32;

}

PreferenceStore::PreferenceStore(bool useUserFile)
    : useUserFile(useUserFile), io(std::make_unique<PreferenceIO>(this, useUserFile))
{
}

PreferenceStore::PreferenceStore(const std::string& path)
    : useUserFile(false), io(std::make_unique<PreferenceIO>(this, path))
{
}

PreferenceStore::~PreferenceStore() = default;

bool PreferenceStore::has(const std::string& key, const std::string& name) const { return find(key, name); }

bool PreferenceStore::get(const std::string& key, const std::string& name, PreferenceValue& value) const
{
    const PreferenceValue* found = find(key, name);
    if (found)
        value = *found;
    return found;
}

void PreferenceStore::set(const std::string& key, const std::string& name, PreferenceValue value)
{
    if (!latest || latest->key->first != key)
    {
        const auto place = index.lower_bound(key);
        if (place == index.end() || place->first != key)
            return append(place, key, name, std::move(value));
        latest = &place->second;
    }
    const auto attribute = find(*latest, name);
    if (attribute != latest->key->second.end())
        attribute->second = std::move(value);
    else
        append(*latest, name, std::move(value));
}

void PreferenceStore::remove(const std::string& key, const std::string& name)
{
    const auto place = index.find(key);
    if (place == index.end())
        return;
    PreferenceAttributes& attributes = place->second.key->second;
    const auto attribute = find(place->second, name);
    if (attribute == attributes.end())
        return;
    place->second.attributes.erase(attribute->first);
    attributes.erase(attribute);
}

void PreferenceStore::removeKey(const std::string& key)
{
    const auto place = index.find(key);
    if (place == index.end())
        return;
    const PreferenceTable::iterator removed = place->second.key;
    latest = nullptr;
    index.erase(place);
    table.erase(removed);
}

std::list<std::string> PreferenceStore::keys() const
{
    std::list<std::string> result;
    for (const auto& [key, attributes] : table)
        result.push_back(key);
    return result;
}

void PreferenceStore::forEachAttribute(const std::string& key, const Visitor& visitor)
{
    std::as_const(*this).forEachAttribute(key, visitor);
}

void PreferenceStore::forEachAttribute(const std::string& key, const Visitor& visitor) const
{
    const auto place = index.find(key);
    if (place == index.end())
        return;
    for (const auto& [name, value] : place->second.key->second)
    {
        const std::string nameCopy = name;
        PreferenceValue valueCopy = value;
        visitor(nameCopy, valueCopy);
    }
}

void PreferenceStore::clear()
{
    latest = nullptr;
    index.clear();
    table.clear();
}

void PreferenceStore::swapTables(PreferenceStore& other) noexcept
{
    table.swap(other.table);
    index.swap(other.index);
    std::swap(latest, other.latest);
}

bool PreferenceStore::read(ReadReport* report) { return io->read(report); }

bool PreferenceStore::parseText(std::string text, ReadReport* report)
{
    return parsePreferences(std::move(text), *this, report);
}

bool PreferenceStore::write() { return io->write(); }

bool PreferenceStore::reset() { return io->reset(); }

PreferenceAttributes::iterator PreferenceStore::find(const Place& place, const std::string& name)
{
    PreferenceAttributes& attributes = place.key->second;
    if (place.attributes.empty())
        return std::find_if(attributes.begin(), attributes.end(),
                            [&](const auto& entry) { return entry.first == name; });
    const auto found = place.attributes.find(name);
    return found == place.attributes.end() ? attributes.end() : found->second;
}

void PreferenceStore::append(Place& place, const std::string& name, PreferenceValue value)
{
    PreferenceAttributes& attributes = place.key->second;
    PreferenceAttributes added;
    added.emplace_back(name, std::move(value));
    AttributeIndex entries;
    if (!place.attributes.empty() || attributes.size() >= maxUnindexedAttributes)
        entries.emplace(added.front().first, added.begin());
    if (place.attributes.empty() && !entries.empty())
        for (auto entry = attributes.begin(); entry != attributes.end(); ++entry)
            entries.emplace(entry->first, entry);
    attributes.splice(attributes.end(), added);
    place.attributes.merge(entries);
}

void PreferenceStore::append(Index::iterator next, const std::string& key, const std::string& name,
                             PreferenceValue value)
{
    PreferenceTable added;
    added.emplace_back(key, PreferenceAttributes());
    added.front().second.emplace_back(name, std::move(value));
    Index entry;
    entry.emplace(added.front().first, Place{added.begin(), {}});
    table.splice(table.end(), added);
    latest = &index.insert(next, entry.extract(entry.begin()))->second;
}

const PreferenceValue* PreferenceStore::find(const std::string& key, const std::string& name) const
{
    const auto place = index.find(key);
    if (place == index.end())
        return nullptr;
    const auto attribute = find(place->second, name);
    return attribute == place->second.key->second.end() ? nullptr : &attribute->second;
}
