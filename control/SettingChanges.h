#pragma once

#include <optional>
#include <string>
#include <vector>

#include "preferences/PreferenceStore.h"

// All of these are for tables that were read, or set to text: they hold nothing else.

/// One setting that is not the same in two tables. Nothing stands for a setting that is not there.
struct SettingChange
{
    std::string key;
    std::string name;
    std::optional<std::string> before;
    std::optional<std::string> after;
};

/// A change that met another one of the same setting.
struct SettingConflict
{
    SettingChange wanted;
    std::optional<std::string> found; ///< Neither what the change began with nor what it leads to.
};

const std::string& textOf(const PreferenceValue& value);

/// A setting's text. Nothing if it is not there.
std::optional<std::string> settingOf(const PreferenceStore& store, const std::string& key, const std::string& name);

bool hasSettings(const PreferenceStore& store, const std::string& key);

/// Why settings under a key that has none in the table would be no card's and no group's: blanks around the id, or none
/// behind "group". Empty if they may be somebody's.
std::string problemOfNewKey(const std::string& key, const PreferenceStore& store);

/// Also takes the key out of the table with its last setting: a file in which a key has none gives no such key back.
void removeSetting(PreferenceStore& store, const std::string& key, const std::string& name);

/// What leads from one table to the other, in the order of `before` and then of `after`. The order itself does not
/// count, nor do keys without settings.
std::vector<SettingChange> changesBetween(const PreferenceStore& before, const PreferenceStore& after);

/// Makes the changes in a table that may have changed itself since they were found. All are made; what they met instead
/// of their beginning is returned.
std::vector<SettingConflict> applyChanges(const std::vector<SettingChange>& changes, PreferenceStore& store);
