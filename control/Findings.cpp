#include "control/Findings.h"

#include "preferences/PreferenceIO.h"

namespace
{

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
    updater.store->parseText(findings.file.text);
    static_cast<void>(updater.migrate(&findings.moves)); // what it comes to stands in the moves
    findings.changes = changesBetween(findings.file.store, *updater.store);
}

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

Json lossesAsJson(const Findings& findings)
{
    Json losses = Json::array();
    for (const PassedOver& passed : findings.file.report.passedOver)
        losses.push_back({{"kind", nameOf(passed.kind)},
                          {"line", passed.place.line},
                          {"column", passed.place.column},
                          {"name", utf8Of(passed.name)}});
    return losses;
}

Json changesAsJson(const Findings& findings)
{
    Json changes = Json::array();
    for (const SettingChange& change : findings.changes)
        changes.push_back({{"key", utf8Of(change.key)},
                           {"name", utf8Of(change.name)},
                           {"old", orNull(change.before)},
                           {"new", orNull(change.after)}});
    return changes;
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

Json movesAsJson(const PreferenceUpdater::GroupMoves& moves)
{
    Json list = Json::array();
    for (const GroupMove& move : moves)
    {
        Json names = Json::array();
        for (const std::string& name : move.names)
            names.push_back(utf8Of(name));
        list.push_back({{"group", utf8Of(move.group)},
                        {"outcome", nameOf(move.outcome)},
                        {"cards", move.cards},
                        {"names", std::move(names)}});
    }
    return list;
}

std::string jsonOf(const Findings& findings)
{
    const ReadReport& report = findings.file.report;
    const bool read = !report.refused;
    const bool placed = report.place.line != 0;
    const Json object = {{"file", utf8Of(findings.file.path)},
                         {"accepted", read},
                         {"reason", orNull(!read, utf8Of(report.reason))},
                         {"line", orNull(placed, report.place.line)},
                         {"column", orNull(placed, report.place.column)},
                         {"text", orNull(placed, utf8Of(report.line))},
                         {"cards", orNull(read, findings.cards)},
                         {"groups", orNull(read, findings.groups)},
                         {"settings", orNull(read, findings.settings)},
                         {"losses", lossesAsJson(findings)},
                         {"notKept", orNull(!findings.notKept.empty(), utf8Of(findings.notKept))},
                         {"moves", movesAsJson(findings.moves)},
                         {"changes", changesAsJson(findings)}};
    return object.dump();
}
