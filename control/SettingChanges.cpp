#include "control/SettingChanges.h"

#include <set>
#include <string_view>

#include "control/VisibleText.h"

namespace
{

/// Those of one key, which may be missing in either table.
void addChanges(const std::string& key, const PreferenceStore& before, const PreferenceStore& after,
                std::vector<SettingChange>& changes)
{
    before.forEachAttribute(key,
                            [&](const std::string& name, const PreferenceValue& value)
                            {
                                SettingChange change = {key, name, textOf(value), settingOf(after, key, name)};
                                if (change.before != change.after)
                                    changes.push_back(std::move(change));
                            });
    after.forEachAttribute(key,
                           [&](const std::string& name, const PreferenceValue& value)
                           {
                               if (!before.has(key, name))
                                   changes.push_back({key, name, std::nullopt, textOf(value)});
                           });
}

}

const std::string& textOf(const PreferenceValue& value) { return boost::variant2::get<std::string>(value); }

std::optional<std::string> settingOf(const PreferenceStore& store, const std::string& key, const std::string& name)
{
    PreferenceValue value;
    if (!store.get(key, name, value))
        return std::nullopt;
    return textOf(value);
}

bool hasSettings(const PreferenceStore& store, const std::string& key)
{
    bool any = false;
    store.forEachAttribute(key, [&](const auto&...) { any = true; });
    return any;
}

std::string problemOfNewKey(const std::string& key, const PreferenceStore& store)
{
    if (hasSettings(store, key))
        return "";
    constexpr std::string_view group = "group";
    constexpr std::string_view blanks = " \t\n\v\f\r";
    std::string_view id = key;
    if (id.starts_with(group))
        id.remove_prefix(group.size());
    if (id.empty())
        return "'" + key + "' is no key: there is no id";
    if (blanks.find(id.front()) != blanks.npos || blanks.find(id.back()) != blanks.npos)
        return "'" + visible(key) + "' is no key: there are blanks around the id";
    return "";
}

void removeSetting(PreferenceStore& store, const std::string& key, const std::string& name)
{
    store.remove(key, name);
    if (!hasSettings(store, key))
        store.removeKey(key);
}

std::vector<SettingChange> changesBetween(const PreferenceStore& before, const PreferenceStore& after)
{
    std::vector<SettingChange> changes;
    std::set<std::string_view> seen;
    for (const auto& [key, attributes] : before.table)
    {
        seen.insert(key);
        addChanges(key, before, after, changes);
    }
    for (const auto& [key, attributes] : after.table)
        if (!seen.contains(key))
            addChanges(key, before, after, changes);
    return changes;
}

std::vector<SettingConflict> applyChanges(const std::vector<SettingChange>& changes, PreferenceStore& store)
{
    std::vector<SettingConflict> conflicts;
    for (const SettingChange& change : changes)
    {
        const std::optional<std::string> found = settingOf(store, change.key, change.name);
        if (found != change.before && found != change.after)
            conflicts.push_back({change, found});
        if (change.after)
            store.set(change.key, change.name, *change.after);
        else
            removeSetting(store, change.key, change.name);
    }
    return conflicts;
}
