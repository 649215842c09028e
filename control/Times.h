#pragma once

#include <ctime>
#include <string>

/// "2026-11-23 14:05:09", as the machine's clocks show it.
std::string localTime(std::time_t time);

/// "2026-11-23T14:05:09Z", for programs.
std::string universalTime(std::time_t time);
