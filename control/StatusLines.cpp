#include "control/Status.h"
#include "control/Times.h"
#include "control/VisibleText.h"

namespace
{

const std::string restart = "systemctl restart ostrivane-helper";
const std::string lookAgain = "look again, and if it stays so: " + restart;
const std::string forRoot = "needs root";

std::string goOn(pid_t process) { return "it is stopped; let it go on: kill -CONT " + std::to_string(process); }

std::string inOneLine(const std::vector<std::string>& parts, const char* between)
{
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : between) + part;
    return text;
}

std::string inWords(const DaemonStatus& daemon)
{
    const std::string where = !daemon.service.empty()   ? "as " + daemon.service
                              : daemon.terminal.empty() ? "in the background"
                                                        : "on the terminal " + daemon.terminal;
    return "pid " + std::to_string(daemon.pid) + " of " + daemon.user + ", since " + localTime(daemon.since) + ", " +
           where;
}

StatusLine daemonLine(const std::vector<DaemonStatus>& daemons)
{
    if (daemons.empty())
        return {"daemon", "none runs", "systemctl start ostrivane-helper"};
    std::vector<std::string> texts;
    texts.reserve(daemons.size());
    for (const DaemonStatus& daemon : daemons)
        texts.push_back(inWords(daemon));
    StatusLine line = {"daemon", inOneLine(texts, "; "), ""};
    if (daemons.size() > 1)
        line.advice = counted(daemons.size(), "daemon") +
                      " take the mutex from each other: end all but one, and restart that: " + restart;
    else if (daemons.front().stopped)
        line.advice = goOn(daemons.front().pid);
    else if (daemons.front().programReplaced)
        line.advice = "its program was replaced since: " + restart;
    return line;
}

StatusLine libraryLine(const DaemonStatus& daemon)
{
    const std::string subject = "library";
    if (!daemon.maps)
        return {subject, forRoot, ""};
    if (!daemon.maps->libraryPath.empty())
        return {subject, daemon.maps->libraryPath,
                daemon.maps->libraryReplaced ? "it was replaced since: " + restart : ""};
    if (daemon.libraries.empty())
        return {subject, "none: libTessarigAPI.so is neither in the daemon's folder nor on the system's search path",
                "install the cards' library, then: " + restart};
    return {subject, "none, though there is " + inOneLine(daemon.libraries, ", "),
            "see whether it can be loaded: ldd " + shellWord(daemon.libraries.front()) + "; then: " + restart};
}

StatusLine listenersLine(const DaemonStatus& daemon)
{
    return {"listeners",
            counted(daemon.listeners, "card") + " listened to, " + counted(daemon.groupThreads, "group") + " at work",
            ""};
}

std::string waiters(const std::vector<DaemonStatus>& daemons)
{
    size_t waiting = 0;
    for (const DaemonStatus& daemon : daemons)
        if (!daemon.waiting)
            return "; how many of the daemon's threads wait " + forRoot;
        else
            waiting += *daemon.waiting;
    return waiting == 0 ? "" : "; " + counted(waiting, "thread") + " of the daemon wait" + (waiting == 1 ? "s" : "");
}

StatusLine heldLine(const MutexHolder& holder)
{
    if (holder.thread == 0)
        return {"mutex", "changing hands", ""};
    if (holder.gone)
        return {"mutex", "held by one that is gone (thread " + std::to_string(holder.thread) + ")",
                "nobody can let it go, and no card is saved: " + restart};
    return {"mutex", "held by " + describe(holder),
            holder.process == 0 ? lookAgain
            : holder.stopped    ? goOn(holder.process)
                                : ""};
}

/// What holds for the segment itself.
StatusLine segmentLine(const Status& status)
{
    const SegmentState& mutex = status.mutex;
    const std::string path = SegmentState::path;
    StatusLine line = {"mutex", "", ""};
    switch (mutex.kind)
    {
    case SegmentState::Absent:
        line.text = "none";
        break;
    case SegmentState::Unreadable:
        line.text = path + " can't be read: " + mutex.reason;
        break;
    case SegmentState::Foreign:
        line.text = path + " is no mutex: " + mutex.reason;
        line.advice = "rm -r " + path + " && " + restart;
        break;
    case SegmentState::Unfinished:
        line.text = mutex.reason;
        line.advice = lookAgain;
        break;
    case SegmentState::Free:
        line.text = "free" + waiters(status.daemons);
        break;
    case SegmentState::Held:
        line = heldLine(status.holder);
        line.text += waiters(status.daemons);
    }
    return line;
}

StatusLine mutexLine(const Status& status)
{
    StatusLine line = segmentLine(status);
    if (!line.advice.empty())
        return line;
    for (const DaemonStatus& daemon : status.daemons)
    {
        if (!daemon.maps)
            continue;
        if (!daemon.maps->segment)
            line.advice = "the daemon has no mutex, and so no cards: " + restart;
        else if (status.mutex.kind == SegmentState::Absent)
            line.advice =
                "its name was taken away, as when another daemon ends, so other programs can't take it: " + restart;
        else if (daemon.maps->segment->file != status.mutex.file)
            line.advice = "it is not the running daemon's, which has one that no name leads to: " + restart;
    }
    if (status.daemons.empty() && status.mutex.kind != SegmentState::Absent)
        line.text += "; left by a daemon that was killed, the next one replaces it";
    return line;
}

std::string rights(mode_t mode)
{
    std::string text = "rwxrwxrwx";
    for (size_t i = 0; i < text.size(); ++i)
        if ((mode >> (text.size() - 1 - i) & 1) == 0)
            text[i] = '-';
    return text;
}

/// What to do about a file that is refused.
std::string remedyFor(const FileStatus& file)
{
    if (file.irregular)
        return "mv " + shellWord(file.path) + " " + shellWord(file.path + ".old") + "; the first save makes it anew";
    return file.unread ? "look again, and if it stays so, see to what keeps it from being read"
                       : "ostrivanectl check, then repair a copy of it, and: ostrivanectl import COPY";
}

StatusLine fileLine(const FileStatus& file)
{
    const std::string advice = file.obstacle.empty() ? "" : "no save can write it: " + file.obstacle;
    if (file.missing)
        return {"file", file.path + ": none yet" + (advice.empty() ? "; the first save makes it" : ""), advice};
    if (file.forbidden)
        return {"file", file.path + ": " + forRoot, ""};
    if (!file.refusal.empty())
        return {"file", file.path + ": " + file.refusal, advice.empty() ? remedyFor(file) : advice};
    std::string text = file.path + ": " + counted(file.cards, "card") + ", " + counted(file.groups, "group") + ", " +
                       counted(file.settings, "setting") + ", changed " + localTime(file.changed) + ", " +
                       rights(file.mode) + " of " + file.user;
    if (file.losses != 0)
        text += "; the next write loses something: ostrivanectl check";
    return {"file", text, advice};
}

StatusLine migrationLine(const FileStatus& file)
{
    if (!file.refusal.empty())
        return {"migration", file.missing ? "nothing to move" : "the file can't be read", ""};
    std::vector<std::string> texts;
    std::string advice;
    for (const PreferenceUpdater::GroupMove& move : file.moves)
    {
        const std::string what = inOneLine(move.names, ", ") + " on " + move.group;
        if (move.outcome == PreferenceUpdater::GroupMove::NoCards)
        {
            texts.push_back(what + ": no card of the group is in the file");
            advice = "have a card of " + move.group + " saved, or: ostrivanectl unset " + shellWord(move.group);
        }
        else if (move.outcome == PreferenceUpdater::GroupMove::BeyondBound)
        {
            texts.push_back(what + ": for " + counted(move.cards, "card") + " it would be more than 64 MiB");
            advice = "shorten its values, or: ostrivanectl unset " + shellWord(move.group);
        }
        else
        {
            texts.push_back(what + ": to be moved to " + counted(move.cards, "card"));
            advice =
                file.obstacle.empty() ? "the next start moves it: " + restart : "it can't be written: " + file.obstacle;
        }
    }
    return {"migration", texts.empty() ? "nothing to move" : inOneLine(texts, "; "), advice};
}

StatusLine temporariesLine(const FileStatus& file)
{
    if (file.temporaries.empty())
        return {"left behind", "nothing", ""};
    std::string command = "rm";
    for (const std::string& name : file.temporaries)
        command += " " + shellWord(name);
    return {"left behind", inOneLine(file.temporaries, " ") + ", by a save that was cut off", command};
}

}

std::vector<StatusLine> linesOf(const Status& status)
{
    std::vector<StatusLine> lines = {daemonLine(status.daemons)};
    for (const DaemonStatus& daemon : status.daemons)
    {
        lines.push_back(libraryLine(daemon));
        lines.push_back(listenersLine(daemon));
    }
    lines.push_back(mutexLine(status));
    lines.push_back(fileLine(status.file));
    lines.push_back(migrationLine(status.file));
    lines.push_back(temporariesLine(status.file));
    return lines;
}
