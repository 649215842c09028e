#include <algorithm>
#include <iostream>
#include <memory>

#include <nlohmann/json.hpp>

#include "control/Commands.h"
#include "control/Options.h"
#include "control/PreferenceFile.h"
#include "control/SettingChanges.h"
#include "control/VisibleText.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceUpdater.h"

namespace
{

using Json = nlohmann::ordered_json;
using GroupMove = PreferenceUpdater::GroupMove;

/// Beyond that many lines of one subject their number is told. JSON has all.
constexpr size_t mostLines = 40;

/// What there is to say of a file.
struct Findings
{
    explicit Findings(const std::string& path) : file(path) {}

    PreferenceFile file;
    size_t cards = 0;
    size_t groups = 0;
    size_t settings = 0;
    std::string notKept;
    PreferenceUpdater::GroupMoves moves;
    std::vector<SettingChange> changes; ///< What a start would make of it.
};

void count(Findings& findings)
{
    for (const auto& [key, attributes] : findings.file.store.table)
    {
        ++(PreferenceIO::isGroup(key) ? findings.groups : findings.cards);
        findings.settings += attributes.size();
    }
}

/// In a table of its own, as the start would in memory.
void lookAhead(Findings& findings)
{
    PreferenceUpdater updater(findings.file.path);
    updater.store->readText(findings.file.text);
    static_cast<void>(updater.migrate(&findings.moves)); // what it comes to stands in the moves
    findings.changes = changesBetween(findings.file.store, *updater.store);
}

std::string counted(size_t count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// A part of the screen: a heading, and lines under it up to a bound.
class Section
{
public:
    explicit Section(const std::string& heading) : heading(heading) {}
    ~Section()
    {
        if (lines > mostLines)
            std::cout << "  ... and " << lines - mostLines << " more\n";
    }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    void line(const std::string& text)
    {
        if (lines == 0)
            std::cout << heading << '\n';
        if (++lines <= mostLines)
            std::cout << text << '\n';
    }

private:
    const std::string heading;
    size_t lines = 0;
};

void printLosses(const Findings& findings)
{
    Section section("The next write loses:");
    for (const PassedOver& passed : findings.file.report.passedOver)
        section.line("  line " + std::to_string(passed.place.line) + ", column " + std::to_string(passed.place.column) +
                     ": " + lossOf(passed));
    if (!findings.notKept.empty())
        section.line("  " + findings.notKept + ", which the file's format can't hold as it is");
}

void printChanges(const Findings& findings)
{
    Section section("A start moves:");
    for (const SettingChange& change : findings.changes)
    {
        const std::string setting = visible(change.key) + " " + visible(change.name) + " = ";
        if (change.before)
            section.line("- " + setting + visible(*change.before));
        if (change.after)
            section.line("+ " + setting + visible(*change.after));
    }
}

const char* reasonOf(GroupMove::Outcome outcome)
{
    switch (outcome)
    {
    case GroupMove::Done:
        break;
    case GroupMove::NoCards:
        return "no card of this group is in the file";
    case GroupMove::BeyondBound:
        return "the copies for its cards would bring what is copied beyond 64 MiB";
    }
    return "";
}

void printLeft(const Findings& findings)
{
    Section section("A start leaves where it is:");
    for (const GroupMove& move : findings.moves)
        if (move.outcome != GroupMove::Done)
            section.line("  " + visible(move.group) + ", " + counted(move.names.size(), "setting") + ": " +
                         reasonOf(move.outcome));
}

void print(const Findings& findings)
{
    const ReadReport& report = findings.file.report;
    std::cout << visible(findings.file.path) << (report.refused ? ": would not be read\n" : ": would be read\n");
    if (report.refused)
    {
        std::cout << refusalOf(report) << '\n';
        if (report.place.line != 0)
            std::cout << excerpt(report.line, report.place.column, "    ") << '\n';
        return;
    }
    std::cout << counted(findings.cards, "card") << ", " << counted(findings.groups, "group") << ", "
              << counted(findings.settings, "setting") << '\n';
    printLosses(findings);
    printChanges(findings);
    printLeft(findings);
}

Json jsonOf(const std::optional<std::string>& value) { return value ? Json(utf8Of(*value)) : Json(); }

const char* nameOf(GroupMove::Outcome outcome)
{
    switch (outcome)
    {
    case GroupMove::Done:
        return "moved";
    case GroupMove::NoCards:
        return "no cards";
    case GroupMove::BeyondBound:
        return "beyond the bound";
    }
    return "";
}

Json movesAsJson(const Findings& findings)
{
    Json moves = Json::array();
    for (const GroupMove& move : findings.moves)
    {
        Json names = Json::array();
        for (const std::string& name : move.names)
            names.push_back(utf8Of(name));
        moves.push_back({{"group", utf8Of(move.group)},
                         {"outcome", nameOf(move.outcome)},
                         {"cards", move.cards},
                         {"names", std::move(names)}});
    }
    return moves;
}

Json asJson(const Findings& findings)
{
    const ReadReport& report = findings.file.report;
    Json losses = Json::array();
    for (const PassedOver& passed : report.passedOver)
        losses.push_back({{"kind", nameOf(passed.kind)},
                          {"line", passed.place.line},
                          {"column", passed.place.column},
                          {"name", utf8Of(passed.name)}});
    Json changes = Json::array();
    for (const SettingChange& change : findings.changes)
        changes.push_back({{"key", utf8Of(change.key)},
                           {"name", utf8Of(change.name)},
                           {"old", jsonOf(change.before)},
                           {"new", jsonOf(change.after)}});
    Json object = {{"file", utf8Of(findings.file.path)}, {"accepted", !report.refused}};
    if (report.refused)
        object.update({{"reason", utf8Of(report.reason)},
                       {"line", report.place.line},
                       {"column", report.place.column},
                       {"text", utf8Of(report.line)}});
    else
        object.update({{"cards", findings.cards},
                       {"groups", findings.groups},
                       {"settings", findings.settings},
                       {"losses", std::move(losses)},
                       {"notKept", utf8Of(findings.notKept)},
                       {"moves", movesAsJson(findings)},
                       {"changes", std::move(changes)}});
    return object;
}

/// Whether the file would be read.
bool check(const ReadOptions& options)
{
    Findings findings(options.file.chosen());
    if (findings.file.read())
    {
        count(findings);
        findings.notKept = findings.file.notKept();
        lookAhead(findings);
    }
    if (options.json)
        std::cout << asJson(findings).dump() << '\n';
    else
        print(findings);
    return !findings.file.report.refused;
}

}

void addCheck(CLI::App& program, int& status)
{
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* command = program.add_subcommand(
        "check", "Show whether the file would be read, what a write would lose, and what a start would move");
    options->addFileTo(*command);
    command->add_option("FILE", options->file.path, "Check this file")->excludes("--user")->excludes("--file");
    options->addJsonTo(*command, "Print one object");
    command->callback([options, &status] { status = check(*options) ? 0 : 1; });
}
