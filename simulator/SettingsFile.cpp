#include "simulator/SettingsFile.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

bool saveSettingsFile(int64_t id, const SimulatedCard::Settings& settings)
{
    const std::filesystem::path folder = "/etc/quillstone";
    const std::filesystem::path target = folder / ("card" + std::to_string(id) + ".settings");
    const std::filesystem::path temporary = target.string() + "~";
    std::error_code error;
    std::filesystem::create_directories(folder, error);

    std::ofstream file(temporary);
    for (const auto& [name, value] : settings)
        file << name << '=' << value << '\n';
    file.close();
    if (!file)
        return false;
    std::filesystem::rename(temporary, target, error);
    return !error;
}
