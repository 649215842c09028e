#pragma once

#include <string>

#include "preferences/Owner.h"

/// New content on its way into the place of a file. At any moment the file at the path is the old one or the new one,
/// whole: the content goes to a file of its own, onto the disk, and is renamed into place by commit(). Destroyed
/// without that, it leaves the old file and nothing beside it.
///
/// The file of its own lies beside the path's folder, on the same file system, and is called by the names of both. Of a
/// path without a folder, the working folder is meant, and the file lies in it.
///
/// Used by one thread.
class FileReplacement
{
public:
    /// Makes the folder if it is missing, and the file. Throws boost::filesystem::filesystem_error if the folder can't
    /// be looked at, or is missing and can't be made.
    explicit FileReplacement(const std::string& path);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Where the new content goes; its owner is this object. Null, with errno set, if there is none.
    std::FILE* stream() const { return content.get(); }

    /// True once the new content is in place and, as far as the folder could be opened, stays there after a crash.
    /// False, with errno set, leaves the old file. Called once.
    bool commit();

private:
    const std::string path;
    std::string temporary;
    Descriptor file;   ///< Until `content` has it.
    Descriptor folder; ///< For its sync.
    Stream content;
    bool pending = false; ///< The temporary file is there and not yet in place.
};
