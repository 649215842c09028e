#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include "control/CommandError.h"
#include "control/Commands.h"
#include "control/Json.h"
#include "control/Options.h"
#include "control/PreferenceFile.h"
#include "control/SettingChanges.h"
#include "control/VisibleText.h"

namespace
{

struct ListOptions : ReadOptions
{
    std::string key;
    bool oneKey = false;
    std::string name;
};

struct Row
{
    std::string key;
    std::string name;
    std::string value;
};

/// A longer cell sticks out instead of moving all others.
constexpr size_t maxColumnWidth = 40;

std::vector<Row> rowsOf(const PreferenceStore& store, const ListOptions& options)
{
    std::vector<Row> rows;
    for (const auto& [key, attributes] : store.table)
        if (!options.oneKey || key == options.key)
            for (const auto& [name, value] : attributes)
                rows.push_back({key, name, textOf(value)});
    return rows;
}

std::string padded(const std::string& cell, size_t width)
{
    const size_t taken = widthOf(cell);
    return cell + std::string(taken < width ? width - taken : 0, ' ') + "  ";
}

void printTable(std::vector<Row> rows)
{
    size_t keyWidth = 0;
    size_t nameWidth = 0;
    for (Row& row : rows)
    {
        row = {visible(row.key), visible(row.name), visible(row.value)};
        keyWidth = std::max(keyWidth, widthOf(row.key));
        nameWidth = std::max(nameWidth, widthOf(row.name));
    }
    for (const Row& row : rows)
        std::cout << padded(row.key, std::min(keyWidth, maxColumnWidth))
                  << padded(row.name, std::min(nameWidth, maxColumnWidth)) << row.value << '\n';
}

void printJson(const std::vector<Row>& rows)
{
    for (const Row& row : rows)
    {
        const Json object = {{"key", utf8Of(row.key)}, {"name", utf8Of(row.name)}, {"value", utf8Of(row.value)}};
        std::cout << object.dump() << '\n';
    }
}

void list(const ListOptions& options)
{
    PreferenceFile file(options.file.chosen());
    file.require();
    const std::vector<Row> rows = rowsOf(file.store, options);
    if (rows.empty() && options.oneKey)
        throw CommandError("there is no '" + visible(options.key) + "' in " + file.path);
    if (options.json)
        printJson(rows);
    else
        printTable(rows);
}

void get(const ListOptions& options)
{
    PreferenceFile file(options.file.chosen());
    file.require();
    const std::optional<std::string> value = settingOf(file.store, options.key, options.name);
    if (!value)
        throw CommandError("'" + visible(options.key) + "' has no setting '" + visible(options.name) + "'");
    std::cout << (isatty(STDOUT_FILENO) ? visible(*value) : *value) << '\n';
}

}

void addList(CLI::App& program, int&)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App* command = program.add_subcommand("list", "Shows the settings of the file, or of one card or group.");
    const CLI::Option* key = addKey(*command, options->key);
    options->addFileTo(*command);
    options->addJsonTo(*command, "Print one object a line: key, name, value");
    command->callback(
        [options, key]
        {
            options->oneKey = key->count() > 0;
            list(*options);
        });
}

void addGet(CLI::App& program, int&)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App* command = program.add_subcommand("get", "Prints one value alone. Status 1 if it is not there.");
    addKey(*command, options->key)->required();
    addName(*command, options->name)->required();
    options->addFileTo(*command);
    command->callback([options] { get(*options); });
}
