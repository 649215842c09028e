#include <cstdint>

#include "preferences/PreferenceIO.h"

namespace
{

const std::string groupWord = "group";

}

bool PreferenceIO::isGroup(const std::string& key) { return key.rfind(groupWord) != std::string::npos; }

std::string PreferenceIO::groupKey(const std::string& key)
{
    if (isGroup(key))
        return key;
    try
    {
        const auto group = static_cast<uint32_t>(std::stol(key)) & 0xFFFFFFF0;
        return groupWord + std::to_string(static_cast<int32_t>(group));
    }
    catch (...)
    {
        return groupWord;
    }
}
