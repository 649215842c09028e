#include "preferences/PreferenceStore.h"

#include <algorithm>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceText.h"

namespace
{

constexpr size_t longestWalk = 32;

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
    Place& place = placeOf(key);
    const auto attribute = find(place, name);
    if (attribute != place.key->second.end())
        attribute->second = std::move(value);
    else
        append(place, name, std::move(value));
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

bool PreferenceStore::readText(std::string text, ReadReport* report)
{
    return readPreferences(std::move(text), *this, report);
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
    const auto added = attributes.emplace(attributes.end(), name, std::move(value));
    if (!place.attributes.empty())
        place.attributes.emplace(added->first, added);
    else if (attributes.size() > longestWalk)
        for (auto entry = attributes.begin(); entry != attributes.end(); ++entry)
            place.attributes.emplace(entry->first, entry);
}

const PreferenceValue* PreferenceStore::find(const std::string& key, const std::string& name) const
{
    const auto place = index.find(key);
    if (place == index.end())
        return nullptr;
    const auto attribute = find(place->second, name);
    return attribute == place->second.key->second.end() ? nullptr : &attribute->second;
}

/// Makes the key behind the others if it is not there.
PreferenceStore::Place& PreferenceStore::placeOf(const std::string& key)
{
    if (latest && latest->key->first == key)
        return *latest;
    auto place = index.lower_bound(key);
    if (place == index.end() || place->first != key)
    {
        const auto added = table.emplace(table.end(), key, PreferenceAttributes());
        place = index.emplace_hint(place, added->first, Place{added, {}});
    }
    latest = &place->second;
    return *latest;
}
