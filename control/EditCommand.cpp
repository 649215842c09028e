#include <iostream>
#include <memory>

#include "control/CommandError.h"
#include "control/Commands.h"
#include "control/Editor.h"
#include "control/FileChange.h"
#include "control/SettingChanges.h"
#include "control/VisibleText.h"
#include "preferences/PreferenceIO.h"

namespace
{

/// Why a copy can't be taken over, for its author; empty if it can.
std::string problemOf(PreferenceFile& edited, const PreferenceStore& base)
{
    if (!edited.read())
    {
        const bool placed = edited.report.place.line != 0;
        return refusalOf(edited.report) +
               (placed ? "\n" + excerpt(edited.report.line, edited.report.place.column, "    ") : "");
    }
    for (const auto& [key, attributes] : edited.store.table)
        if (std::string problem = problemOfNewKey(key, base); !problem.empty())
            return problem;
    const std::string notKept = edited.notKept();
    return notKept.empty() ? "" : "the file's format can't hold " + notKept + " as it is";
}

/// What a person answers at the terminal.
enum class Answer
{
    EditAgain,
    Drop,
    Nothing ///< The input has ended.
};

Answer ask()
{
    std::string line;
    while (true)
    {
        std::cerr << "Edit again, or drop what you edited? [e/d] " << std::flush;
        if (!std::getline(std::cin, line))
            return Answer::Nothing;
        if (line.empty() || line == "e" || line == "E")
            return Answer::EditAgain;
        if (line == "d" || line == "D")
            return Answer::Drop;
    }
}

/// Until the copy can be taken over. False if it is dropped on request.
bool editUntilUsable(const EditedCopy& copy, PreferenceFile& edited, const PreferenceStore& base)
{
    for (size_t line = 0;; line = edited.report.place.line)
    {
        copy.openInEditor(line);
        const std::string problem = problemOf(edited, base);
        if (problem.empty())
            return true;
        std::cerr << "Your copy, " << copy.path << ", can't be taken over: " << problem << '\n';
        switch (ask())
        {
        case Answer::EditAgain:
            continue;
        case Answer::Drop:
            return false;
        case Answer::Nothing:
            std::cerr << '\n';
            throw CommandError("your copy can't be taken over");
        }
    }
}

std::string shown(const std::optional<std::string>& value) { return value ? "'" + visible(*value) + "'" : "not there"; }

void tell(const std::vector<SettingConflict>& conflicts)
{
    for (const auto& [wanted, found] : conflicts)
        std::cerr << "ostrivanectl: '" << visible(wanted.name) << "' of '" << visible(wanted.key)
                  << "' was changed meanwhile: it was " << shown(wanted.before) << ", then " << shown(found)
                  << "; yours holds: " << shown(wanted.after) << '\n';
}

/// False if there is nothing to do.
bool apply(const ChangeOptions& options, const PreferenceFile& base, const PreferenceFile& edited)
{
    const std::vector<SettingChange> changes = changesBetween(base.store, edited.store);
    if (changes.empty())
        return false;
    std::vector<SettingConflict> conflicts;
    changeFile(options, Refused::Stays,
               [&](PreferenceFile& file)
               {
                   conflicts = applyChanges(changes, file.store);
                   return true;
               });
    tell(conflicts);
    if (edited.report.passedOver.size() > base.report.passedOver.size())
        std::cerr << "ostrivanectl: not taken from your copy: " << lossesOf(edited.report) << '\n';
    std::cout << counted(changes.size(), "setting") << " changed\n";
    return true;
}

void edit(const ChangeOptions& options)
{
    PreferenceFile base(options.file.chosen());
    base.requireRightToReplace();
    base.requireUnlessMissing();
    const std::string text = base.missing ? base.store.io->text() : base.text.substr(0, base.text.find('\0'));
    const EditedCopy copy(text);
    PreferenceFile edited(copy.path);
    try
    {
        if (!editUntilUsable(copy, edited, base.store))
            std::cout << "Dropped; nothing was changed.\n";
        else if (!apply(options, base, edited))
            std::cout << "No setting was changed.\n";
        copy.remove();
    }
    catch (const std::exception& error)
    {
        static_cast<void>(edited.read());
        const bool touched = edited.text != text && !edited.missing;
        if (!touched)
            copy.remove();
        throw CommandError(error.what() + std::string("; nothing was changed") +
                           (touched ? ", what you edited is kept in " + copy.path : ""));
    }
}

}

void addEdit(CLI::App& program, int&)
{
    const auto options = std::make_shared<ChangeOptions>();
    CLI::App* command =
        program.add_subcommand("edit", "Edits a copy of the file, and makes the changes in the file as it is by then.");
    options->addTo(*command);
    command->callback([options] { edit(*options); });
}
