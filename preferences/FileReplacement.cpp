#include "preferences/FileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include <boost/filesystem.hpp>

namespace
{

/// The finished file can be read and written by every user, whatever the umask says.
constexpr mode_t allowAll = 0666;

std::string folderOf(const boost::filesystem::path& path)
{
    const boost::filesystem::path parent = path.parent_path();
    return parent.empty() ? "." : parent.string();
}

std::string makeFolderOf(const boost::filesystem::path& path)
{
    std::string folder = folderOf(path);
    if (!is_directory(boost::filesystem::status(folder)))
        create_directories(boost::filesystem::path(folder));
    return folder;
}

}

FileReplacement::FileReplacement(const std::string& path) : path(path)
{
    const std::string folderName = makeFolderOf(path);
    temporary = folderName + "." + boost::filesystem::path(path).filename().string() + "~XXXXXX";
    file = Descriptor(mkostemp(temporary.data(), O_CLOEXEC));
    if (!file)
        return;
    pending = true;
    static_cast<void>(fchmod(file.get(), allowAll)); // without it the file is root's alone, but whole
    folder = Descriptor(open(folderName.c_str(), O_RDONLY | O_CLOEXEC));
    content = Stream(fdopen(file.get(), "wb"));
    if (content)
        file.release();
}

FileReplacement::~FileReplacement()
{
    const int error = errno; // as commit() left it
    if (pending)
        unlink(temporary.c_str());
    content = Stream();
    folder = Descriptor();
    file = Descriptor();
    errno = error;
}

bool FileReplacement::commit()
{
    if (!content || ferror(content.get()) || fflush(content.get()) != 0 || fdatasync(fileno(content.get())) != 0 ||
        rename(temporary.c_str(), path.c_str()) != 0)
        return false;
    pending = false;
    if (folder)
        static_cast<void>(fdatasync(folder.get())); // the file is in place whatever comes of it
    return true;
}
