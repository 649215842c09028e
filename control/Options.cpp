#include "control/Options.h"

#include "control/CommandError.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

std::string FileChoice::chosen() const
{
    if (!path.empty())
        return path;
    const std::string known = PreferenceStore(user).io->path;
    if (known.empty())
        throw CommandError("HOME is not set, so there is no user's own file");
    return known;
}

void ReadOptions::addFileTo(CLI::App& command)
{
    CLI::Option* user = command.add_flag("--user", file.user, "Read the user's own file instead of the machine's");
    command.add_option("--file", file.path, "Read this file")->excludes(user)->type_name("PATH");
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

CLI::Option* addKey(CLI::App& command, std::string& key)
{
    return command.add_option("KEY", key, "A card's id, or 'group' and the group's id, as in 17 and group16");
}

CLI::Option* addName(CLI::App& command, std::string& name)
{
    return command.add_option("NAME", name, "The setting's name");
}
