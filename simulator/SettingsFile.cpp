#include "simulator/SettingsFile.h"

#include <exception>
#include <filesystem>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

bool saveSettings(int64_t id, const SimulatedCard::Settings& settings)
{
    try
    {
        PreferenceStore store(false);
        // A file that is there but can't be read is somebody's all the same: a new one must not take its place.
        if (!store.read() && std::filesystem::exists(store.io->path))
            return false;
        for (const auto& [name, value] : settings)
            store.set(std::to_string(id), name, value);
        return store.write();
    }
    catch (const std::exception&)
    {
        return false; // the folder can't be looked at, or there is no memory
    }
}
