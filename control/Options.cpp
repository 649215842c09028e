#include "control/Options.h"

#include <cstdlib>

#include "control/CommandError.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

std::string FileChoice::chosen() const
{
    if (!path.empty())
        return path;
    if (const char* home = getenv("HOME"); user && (!home || !*home))
        throw CommandError("HOME is not set, so there is no user's own file");
    return PreferenceStore(user).io->path;
}

void ReadOptions::addFileTo(CLI::App& command)
{
    CLI::Option* user = command.add_flag("--user", file.user, "Read the user's own file instead of the machine's");
    refuseEmpty(command.add_option("--file", file.path, "Read this file"))->excludes(user)->type_name("PATH");
}

void ReadOptions::addJsonTo(CLI::App& command, const std::string& description)
{
    command.add_flag("--json", json, description);
}

void ChangeOptions::addTo(CLI::App& command)
{
    command.add_flag("--user", file.user, "Change the user's own file instead of the machine's");
    addTimeout(command, timeout);
}

CLI::Option* refuseEmpty(CLI::Option* option)
{
    return option->check([](const std::string& word) { return std::string(word.empty() ? "must not be empty" : ""); });
}

CLI::Option* addKey(CLI::App& command, std::string& key)
{
    return command.add_option("KEY", key, "A card's id, or 'group' and the group's id, as in 17 and group16");
}

CLI::Option* addName(CLI::App& command, std::string& name)
{
    return command.add_option("NAME", name, "The setting's name");
}
