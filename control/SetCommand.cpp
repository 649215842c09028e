#include <memory>

#include "control/CommandError.h"
#include "control/Commands.h"
#include "control/FileChange.h"
#include "control/SettingChanges.h"
#include "control/VisibleText.h"

namespace
{

struct SetOptions : ChangeOptions
{
    std::string key;
    std::string name;
    std::string value;
    bool wholeKey = false;
};

bool setIn(PreferenceFile& file, const SetOptions& options)
{
    if (settingOf(file.store, options.key, options.name) == options.value)
        return false;
    if (const std::string problem = problemOfNewKey(options.key, file.store); !problem.empty())
        throw CommandError(problem);
    file.store.set(options.key, options.name, options.value);
    return true;
}

bool unsetIn(PreferenceFile& file, const SetOptions& options)
{
    if (!hasSettings(file.store, options.key))
        throw CommandError("there is no '" + visible(options.key) + "' in " + file.path);
    if (options.wholeKey)
        file.store.removeKey(options.key);
    else if (file.store.has(options.key, options.name))
        removeSetting(file.store, options.key, options.name);
    else
        throw CommandError("'" + visible(options.key) + "' has no setting '" + visible(options.name) + "'");
    return true;
}

}

void addSet(CLI::App& program, int&)
{
    const auto options = std::make_shared<SetOptions>();
    CLI::App* command = program.add_subcommand("set", "Sets one setting, as a card's own save would.");
    refuseEmpty(addKey(*command, options->key))->required();
    refuseEmpty(addName(*command, options->name))->required();
    command->add_option("VALUE", options->value, "Its value; behind '--' if it begins with '-'")->required();
    options->addTo(*command);
    command->callback(
        [options]
        { changeFile(*options, Refused::Stays, [&](PreferenceFile& file) { return setIn(file, *options); }); });
}

void addUnset(CLI::App& program, int&)
{
    const auto options = std::make_shared<SetOptions>();
    CLI::App* command =
        program.add_subcommand("unset", "Takes one setting, or all of a card or group, out of the file.");
    addKey(*command, options->key)->required();
    const CLI::Option* name = addName(*command, options->name);
    options->addTo(*command);
    command->callback(
        [options, name]
        {
            options->wholeKey = name->count() == 0;
            changeFile(*options, Refused::Stays, [&](PreferenceFile& file) { return unsetIn(file, *options); });
        });
}
