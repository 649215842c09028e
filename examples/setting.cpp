// Shows a setting of a card, or changes it while OstrivaneHelper runs and cards save:
//   setting 17 Label
//   setting 17 Label "Studio A"
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "preferences/PreferenceStore.h"
#include "preferences/ReadReport.h"
#include "preferences/SharedPreferenceLock.h"
#include "settings/ConversionModes.h"

namespace
{

int fail(const std::string& message)
{
    std::cerr << "setting: " << message << '\n';
    return 1;
}

/// "the preferences: reason, line 3, column 14"
int refused(const ReadReport& report)
{
    const std::string place =
        ", line " + std::to_string(report.place.line) + ", column " + std::to_string(report.place.column);
    return fail("the preferences: " + report.reason + (report.place.line ? place : ""));
}

int show(const std::string& key, const std::string& name)
{
    PreferenceStore store(false);
    ReadReport report;
    if (!store.read(&report))
        return refused(report);
    PreferenceValue value;
    if (!store.get(key, name, value))
        return fail(key + " has no " + name);
    const auto& text = boost::variant2::get<std::string>(value); // all that is read is text
    std::cout << text;
    if (name == "ConversionMode")
        std::cout << " (" << conversionModeName(static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10))) << ')';
    std::cout << '\n';
    return 0;
}

int change(const std::string& key, const std::string& name, const std::string& text)
{
    const SharedPreferenceLock lock(std::chrono::steady_clock::now() + std::chrono::seconds(2));
    if (lock.outcome == SharedPreferenceLock::TimedOut)
        return fail("the preferences are in use, by thread " + std::to_string(lock.holder));
    if (!lock)
        return fail("can't use the shared mutex");

    PreferenceStore store(false);
    ReadReport report;
    if (!store.read(&report))
        return refused(report);
    store.set(key, name, text);
    if (!store.write())
        return fail(std::string("can't write the preferences: ") + std::strerror(errno));
    return 0;
}

}

int main(int argc, char** argv)
{
    try
    {
        if (argc == 3)
            return show(argv[1], argv[2]);
        if (argc == 4)
            return change(argv[1], argv[2], argv[3]);
        std::cerr << "usage: setting CARD NAME [VALUE]\n";
        return 2;
    }
    catch (...) // no memory, or the file's folder can't be looked at
    {
        std::fputs("setting: the preferences can't be changed\n", stderr);
        return 1;
    }
}
