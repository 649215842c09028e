#include "control/FileWatch.h"

#include <poll.h>
#include <sys/inotify.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <list>
#include <system_error>

#include "control/CommandError.h"

namespace
{

/// Reading the file is none of these, so that what the watch leads to does not wake it.
constexpr uint32_t changes =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

/// Seconds between two times that a file system tells apart, at the most.
constexpr std::time_t maxTimeStep = 2;

/// The system follows no more links than that in one path.
constexpr int maxLinks = 40;

bool isSame(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

bool isSame(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size && a.st_mode == b.st_mode &&
           isSame(a.st_mtim, b.st_mtim) && isSame(a.st_ctim, b.st_ctim);
}

}

FileWatch::FileWatch(std::string path) : path(std::move(path)), events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    if (!events)
        throw systemError("can't watch files");
}

bool FileWatch::changed()
{
    arm(); // before the look, so that nothing gets lost in between
    struct stat now = {};
    if (stat(path.c_str(), &now) != 0)
        now = {};
    const bool other = !settled || !isSame(now, last);
    settled = now.st_ctime + maxTimeStep < std::time(nullptr);
    last = now;
    return other;
}

bool FileWatch::wait(int output)
{
    pollfd watched[] = {{events.get(), POLLIN, 0}, {output, 0, 0}};
    while (poll(watched, std::size(watched), -1) < 0)
        if (errno != EINTR)
            throw systemError("can't wait for changes");
    // What happened where does not matter, nor whether some of it got lost: the file itself is looked at.
    alignas(inotify_event) char discarded[4096];
    while (read(events.get(), discarded, sizeof discarded) > 0)
    {
    }
    return watched[1].revents == 0;
}

/// What stands at a place may be another each time. Watching the same one again changes nothing. Each folder is watched
/// before what stands in it is looked at, so that nothing gets lost in between.
void FileWatch::arm()
{
    const std::filesystem::path whole = std::filesystem::absolute(path);
    std::list<std::filesystem::path> rest(whole.begin(), whole.end());
    int links = 0;
    for (std::filesystem::path place; !rest.empty(); rest.pop_front())
    {
        place /= rest.front();
        watch(place);
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(place, error);
        if (error || ++links > maxLinks)
            continue;
        place = place.parent_path();
        rest.insert(std::next(rest.begin()), target.begin(), target.end());
    }
}

void FileWatch::watch(const std::string& place)
{
    if (inotify_add_watch(events.get(), place.c_str(), changes) >= 0 || errno == ENOENT || errno == ENOTDIR ||
        errno == EACCES || errno == ELOOP)
        return;
    if (errno == ENOSPC)
        throw CommandError("can't watch " + place + ": this user watches too much, see fs.inotify.max_user_watches");
    throw systemError("can't watch " + place);
}
