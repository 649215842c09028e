#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>

#include "control/Commands.h"
#include "control/FileWatch.h"
#include "control/Json.h"
#include "control/Options.h"
#include "control/PreferenceFile.h"
#include "control/SettingChanges.h"
#include "control/Times.h"
#include "control/VisibleText.h"

namespace
{

std::string shown(const std::optional<std::string>& value) { return value ? visible(*value) : "(none)"; }

void print(const SettingChange& change, bool json)
{
    const std::time_t now = std::time(nullptr);
    if (json)
        std::cout << Json{{"time", universalTime(now)},
                          {"key", utf8Of(change.key)},
                          {"name", utf8Of(change.name)},
                          {"old", orNull(change.before)},
                          {"new", orNull(change.after)}};
    else
        std::cout << localTime(now) << "  " << visible(change.key) << "  " << visible(change.name) << "  "
                  << shown(change.before) << " -> " << shown(change.after);
    std::cout << std::endl; // whoever reads along waits for this line
}

/// Prints what has changed in a file since the last look.
class Observer
{
public:
    Observer(const std::string& path, bool json) : path(path), json(json) {}

    void look()
    {
        auto file = std::make_unique<PreferenceFile>(path);
        const bool whole = file->read();
        if (!whole && !(file->missing && !known))
        {
            complain(file->missing ? "is gone" : "can't be read: " + refusalOf(file->report));
            return;
        }
        complaint.clear();
        if (known)
            for (const SettingChange& change : changesBetween(known->store, file->store))
                print(change, json);
        known = std::move(file);
    }

private:
    void complain(const std::string& text)
    {
        if (text != complaint)
            std::cerr << "ostrivanectl: " << localTime(std::time(nullptr)) << "  " << path << ' ' << text << '\n';
        complaint = text;
    }

    const std::string path;
    const bool json;
    std::unique_ptr<PreferenceFile> known; ///< The last that could be read. One that is missing at first is empty.
    std::string complaint;
};

/// Whether the reader of a pipe has gone.
bool isDeserted(int output)
{
    pollfd end = {output, 0, 0};
    return poll(&end, 1, 0) == 1 && (end.revents & POLLERR) != 0;
}

void watch(const std::string& path, bool json)
{
    signal(SIGPIPE, SIG_IGN); // a reader that goes is no failure
    FileWatch file(path);
    Observer observer(path, json);
    do
    {
        if (file.changed())
            observer.look();
    } while (std::cout && file.wait(STDOUT_FILENO));
    if (!std::cout && isDeserted(STDOUT_FILENO))
    {
        __fpurge(stdout);
        std::cout.clear();
    }
}

}

void addWatch(CLI::App& program, int&)
{
    CLI::App* const command =
        program.add_subcommand("watch", "Prints each setting of the file that changes, until Ctrl-C.");
    const auto options = std::make_shared<ReadOptions>();
    options->addFileTo(*command);
    options->addJsonTo(*command, "Print one object a line: time, key, name, old, new");
    command->callback([options] { watch(options->file.chosen(), options->json); });
}
