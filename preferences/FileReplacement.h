#pragma once

#include <string>

#include "preferences/Owner.h"

inline namespace ostrivane
{

/// Replaces a file's content as a whole: at any moment the file at the path is the old one or the new one.
///
/// Used by one thread. Destroyed without commit(), it leaves the old file and nothing beside it.
///
/// The new content goes to a temporary file, onto the disk, and is renamed into place by commit(). The temporary file
/// stands beside the path's folder, on the same file system, named after the folder and the file. A path without a
/// folder is one in the working folder, and so is its temporary file.
class FileReplacement
{
public:
    /// Makes the folder if it is missing, and the temporary file. Throws boost::filesystem::filesystem_error if the
    /// folder can't be inspected, or is missing and can't be made.
    explicit FileReplacement(const std::string& path);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Takes the new content; stays this object's own. Null, with errno set, if there is no temporary file.
    std::FILE* stream() const { return content.get(); }

    /// True once the new content is in place and, as far as the folder could be opened, stays there after a crash.
    /// False, with errno set, leaves the old file. Called once.
    bool commit();

private:
    const std::string path;
    std::string temporary;
    Descriptor file;   ///< The temporary file, until `content` owns it.
    Descriptor folder; ///< For its sync.
    Stream content;
    bool pending = false; ///< The temporary file is there and not yet in place.
};

}
