#include <iostream>
#include <memory>

#include "control/Commands.h"
#include "control/Findings.h"
#include "control/Options.h"
#include "control/VisibleText.h"

namespace
{

using GroupMove = PreferenceUpdater::GroupMove;

/// Beyond that many lines of one subject their number is told. JSON has all.
constexpr size_t maxLines = 40;

/// Prints lines under a heading, up to a bound, and the heading with the first of them.
class Section
{
public:
    explicit Section(const std::string& heading) : heading(heading) {}
    ~Section()
    {
        if (lines > maxLines)
            std::cout << "  ... and " << lines - maxLines << " more\n";
    }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    void line(const std::string& text)
    {
        if (lines == 0)
            std::cout << heading << '\n';
        if (++lines <= maxLines)
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

/// Whether the file would be read.
bool check(const ReadOptions& options)
{
    Findings findings(options.file.chosen());
    if (options.json)
        std::cout << jsonOf(findings) << '\n';
    else
        print(findings);
    return !findings.file.report.refused;
}

}

void addCheck(CLI::App& program, int& status)
{
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* command = program.add_subcommand(
        "check",
        "Shows whether the file would be read, what a write would lose, and what a start would move. Touches nothing.");
    options->addFileTo(*command);
    refuseEmpty(command->add_option("FILE", options->file.path, "Check this file"))
        ->excludes("--user")
        ->excludes("--file");
    options->addJsonTo(*command, "Print one object");
    command->callback([options, &status] { status = check(*options) ? 0 : 1; });
}
