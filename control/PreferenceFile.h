#pragma once

#include <sys/stat.h>

#include <string>

#include "preferences/PreferenceStore.h"
#include "preferences/ReadReport.h"

/// One preference file, as it was at one moment of the last read: the file changes while one looks.
class PreferenceFile
{
public:
    explicit PreferenceFile(const std::string& path);

    /// False if the file is refused or can't be read: the report says why, and the table is empty.
    bool read();
    /// As read(), and throws CommandError where that gives false.
    void require();
    /// As require(), but a file that is not there has an empty table.
    void requireUnlessMissing();

    /// What of the table the file would not give back as it is: "setting 'A' of '17'", the first, or nothing.
    std::string notKept() const;

    /// Throws CommandError, and leaves the file as it was, if it can't be written or would not give back the table.
    void write();

    /// Throws CommandError if this process may not replace the file. Made before anything is waited for, or asked.
    void requireRightToReplace() const;

    const std::string path;
    PreferenceStore store;
    ReadReport report;
    std::string text;
    struct stat status = {}; ///< What the system knew of the file then; zeros if it could not be looked at.
    bool missing = false;    ///< There was no such file at the last read.
    bool unread = false;     ///< It was there and could not be read, whatever it holds.
};

/// What a report names as passed over, one kind after the other with its place, in one line: "comment (line 3), ...".
std::string lossesOf(const ReadReport& report);

/// One thing that was passed over, such as "doubled setting 'Port'".
std::string lossOf(const PassedOver& passed);

/// Why a file was not read, with its place: "line 3, column 5: </card> is missing here".
std::string refusalOf(const ReadReport& report);
