#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "testing/Files.h"

/// A folder of its own below TMPDIR, with copies of these files, removed in the end.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const Lines& files = {})
    {
        for (const std::string& file : files)
            std::filesystem::copy(file, folder);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(folder); }

    std::string operator/(const std::string& file) const { return folder + "/" + file; }

    const std::string folder = make();

private:
    static std::string make()
    {
        std::string name = std::filesystem::temp_directory_path() / "ostrivane-XXXXXX";
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no folder can be made as " + name);
        return name;
    }
};
