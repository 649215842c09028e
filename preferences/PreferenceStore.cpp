#include "preferences/PreferenceStore.h"

#include "preferences/PreferenceIO.h"

PreferenceStore::PreferenceStore(bool useUserFile)
    : useUserFile(useUserFile), io(std::make_unique<PreferenceIO>(this, useUserFile))
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

void PreferenceStore::set(const std::string& key, const std::string& name, const PreferenceValue& value)
{
    Place& place = placeOf(key);
    if (const auto attribute = place.attributes.find(name); attribute != place.attributes.end())
    {
        attribute->second->second = value;
        return;
    }
    PreferenceAttributes& attributes = place.key->second;
    const auto added = attributes.emplace(attributes.end(), name, value);
    place.attributes.emplace(added->first, added);
}

void PreferenceStore::remove(const std::string& key, const std::string& name)
{
    const auto place = index.find(key);
    if (place == index.end())
        return;
    const auto attribute = place->second.attributes.find(name);
    if (attribute == place->second.attributes.end())
        return;
    const PreferenceAttributes::iterator removed = attribute->second;
    place->second.attributes.erase(attribute);
    place->second.key->second.erase(removed);
}

void PreferenceStore::removeKey(const std::string& key)
{
    const auto place = index.find(key);
    if (place == index.end())
        return;
    const PreferenceTable::iterator removed = place->second.key;
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
    index.clear();
    table.clear();
}

bool PreferenceStore::read() { return io->read(); }

bool PreferenceStore::write() { return io->write(); }

bool PreferenceStore::reset() { return io->reset(); }

const PreferenceValue* PreferenceStore::find(const std::string& key, const std::string& name) const
{
    const auto place = index.find(key);
    if (place == index.end())
        return nullptr;
    const auto attribute = place->second.attributes.find(name);
    return attribute == place->second.attributes.end() ? nullptr : &attribute->second->second;
}

/// Makes the key behind the others if it is not there.
PreferenceStore::Place& PreferenceStore::placeOf(const std::string& key)
{
    if (const auto place = index.find(key); place != index.end())
        return place->second;
    const auto added = table.emplace(table.end(), key, PreferenceAttributes());
    return index.emplace(added->first, Place{added, {}}).first->second;
}
