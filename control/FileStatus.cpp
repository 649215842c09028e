#include "control/FileStatus.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "control/Findings.h"
#include "control/Proc.h"

namespace
{

/// An older temporary file is no longer on its way into place.
constexpr std::time_t maxSaveTime = 60;

void readSettings(FileStatus& status)
{
    Findings findings(status.path);
    const PreferenceFile& file = findings.file;
    status.missing = file.missing;
    status.unread = file.unread;
    status.irregular = file.status.st_mode != 0 && !S_ISREG(file.status.st_mode);
    status.changed = file.status.st_mtime;
    status.mode = file.status.st_mode & 07777;
    status.user = file.status.st_mode != 0 ? userName(file.status.st_uid) : "";
    if (file.report.refused)
    {
        status.refusal = refusalOf(file.report);
        status.line = file.report.place.line;
        status.column = file.report.place.column;
    }
    status.cards = findings.cards;
    status.groups = findings.groups;
    status.settings = findings.settings;
    status.losses = file.report.passedOver.size();
    status.moves = std::move(findings.moves);
}

/// The mount that shows a place, which is another for the same file system bound to a second place; 0 if none is told.
uint64_t mountOf(const std::filesystem::path& place)
{
    struct statx status = {};
    const bool told = statx(AT_FDCWD, place.c_str(), 0, STATX_MNT_ID, &status) == 0;
    return told && (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
}

/// The new file is made beside the folder and renamed into it, which both have to allow.
std::string obstacleIn(const std::filesystem::path& folder)
{
    const std::filesystem::path above = folder.parent_path();
    for (const std::filesystem::path& place : {folder, above})
    {
        struct statvfs system = {};
        if (statvfs(place.c_str(), &system) == 0 && (system.f_flag & ST_RDONLY) != 0)
            return place.string() + " is on a read-only file system";
    }
    const uint64_t mount = mountOf(folder);
    if (mount != 0 && mount != mountOf(above))
        return folder.string() + " is on another mount than " + above.string() +
               ", from which nothing is renamed into it";
    return {};
}

std::vector<std::string> findTemporaries(const std::filesystem::path& path)
{
    std::vector<std::string> found;
    const std::filesystem::path folder = path.parent_path();
    const std::string start = folder.filename().string() + "." + path.filename().string() + "~";
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder.parent_path(), error))
    {
        struct stat status = {};
        if (entry.path().filename().string().starts_with(start) && lstat(entry.path().c_str(), &status) == 0 &&
            std::time(nullptr) - status.st_mtime > maxSaveTime)
            found.push_back(entry.path());
    }
    return found;
}

}

FileStatus lookAtFile(const std::string& path)
{
    FileStatus status;
    status.path = path;
    readSettings(status);
    status.forbidden = !status.refusal.empty() && geteuid() != 0 &&
                       faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
    status.obstacle = obstacleIn(std::filesystem::path(path).parent_path());
    status.temporaries = findTemporaries(path);
    return status;
}
