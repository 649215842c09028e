#pragma once

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// Empty if it can't be read.
inline std::string contents(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// Permission bits; 0 if it is missing.
inline mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}
