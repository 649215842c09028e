#include "control/Findings.h"

#include <optional>

#include <nlohmann/json.hpp>

#include "control/VisibleText.h"
#include "preferences/PreferenceIO.h"

namespace
{

using Json = nlohmann::ordered_json;
using GroupMove = PreferenceUpdater::GroupMove;

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

}

Findings::Findings(const std::string& path) : file(path)
{
    if (!file.read())
        return;
    count(*this);
    notKept = file.notKept();
    lookAhead(*this);
}

std::string jsonOf(const Findings& findings)
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
    return object.dump();
}
