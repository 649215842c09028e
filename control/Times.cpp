#include "control/Times.h"

namespace
{

std::string formatted(const std::tm& fields, const char* format)
{
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, format, &fields));
}

}

std::string localTime(std::time_t time)
{
    std::tm fields = {};
    localtime_r(&time, &fields);
    return formatted(fields, "%F %T");
}

std::string universalTime(std::time_t time)
{
    std::tm fields = {};
    gmtime_r(&time, &fields);
    return formatted(fields, "%FT%TZ");
}
