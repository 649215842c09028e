#include "control/Findings.h"
#include "control/Json.h"
#include "control/Status.h"
#include "control/Times.h"

namespace
{

Json utf8List(const std::vector<std::string>& texts)
{
    Json list = Json::array();
    for (const std::string& text : texts)
        list.push_back(utf8Of(text));
    return list;
}

Json jsonOf(const DaemonStatus& daemon)
{
    const bool known = daemon.maps.has_value();
    return {{"pid", daemon.pid},
            {"user", daemon.user},
            {"since", universalTime(daemon.since)},
            {"terminal", orNull(!daemon.terminal.empty(), daemon.terminal)},
            {"service", orNull(!daemon.service.empty(), daemon.service)},
            {"stopped", daemon.stopped},
            {"programReplaced", daemon.programReplaced},
            {"library", orNull(known, known ? utf8Of(daemon.maps->libraryPath) : "")},
            {"libraryReplaced", orNull(known, known && daemon.maps->libraryReplaced)},
            {"libraries", utf8List(daemon.libraries)},
            {"listeners", daemon.listeners},
            {"groupThreads", daemon.groupThreads},
            {"waiting", orNull(daemon.waiting.has_value(), daemon.waiting.value_or(0))}};
}

Json jsonOf(const SegmentState& mutex, const MutexHolder& holder)
{
    static constexpr const char* states[] = {"absent", "unreadable", "foreign", "unfinished", "free", "held"};
    const bool held = mutex.kind == SegmentState::Held;
    return {{"state", states[mutex.kind]},
            {"reason", orNull(!mutex.reason.empty(), mutex.reason)},
            {"thread", orNull(held, mutex.thread)},
            {"holder", orNull(held && holder.process != 0, {{"pid", holder.process},
                                                            {"name", utf8Of(holder.name)},
                                                            {"user", holder.user},
                                                            {"certain", holder.certain},
                                                            {"stopped", holder.stopped}})},
            {"gone", orNull(held && (holder.process != 0 || holder.gone), holder.gone)}};
}

Json jsonOf(const FileStatus& file)
{
    const bool read = file.refusal.empty();
    return {{"path", utf8Of(file.path)},
            {"exists", !file.missing},
            {"accepted", orNull(!file.forbidden, read)},
            {"reason", orNull(!read && !file.missing, utf8Of(file.refusal))},
            {"line", orNull(file.line != 0, file.line)},
            {"column", orNull(file.line != 0, file.column)},
            {"cards", orNull(read, file.cards)},
            {"groups", orNull(read, file.groups)},
            {"settings", orNull(read, file.settings)},
            {"losses", orNull(read, file.losses)},
            {"changed", orNull(!file.user.empty(), universalTime(file.changed))},
            {"mode", orNull(!file.user.empty(), file.mode)},
            {"user", orNull(!file.user.empty(), file.user)},
            {"obstacle", orNull(!file.obstacle.empty(), utf8Of(file.obstacle))},
            {"temporaries", utf8List(file.temporaries)}};
}

}

std::string jsonOf(const Status& status)
{
    Json daemons = Json::array();
    for (const DaemonStatus& daemon : status.daemons)
        daemons.push_back(jsonOf(daemon));
    Json problems = Json::array();
    for (const StatusLine& line : linesOf(status))
        if (!line.advice.empty())
            problems.push_back(
                {{"subject", line.subject}, {"text", utf8Of(line.text)}, {"advice", utf8Of(line.advice)}});
    const FileStatus& file = status.file;
    const bool ok = problems.empty();
    return Json{{"ok", ok},
                {"problems", std::move(problems)},
                {"daemons", std::move(daemons)},
                {"mutex", jsonOf(status.mutex, status.holder)},
                {"file", jsonOf(file)},
                {"migration", {{"left", movesAsJson(file.moves)}}}}
        .dump();
}
