#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "preferences/ReadReport.h"

inline namespace ostrivane
{

/// Fills in the report on the parsing of one text. Does nothing if no report is wanted.
///
/// Used by one thread.
class ReportWriter
{
public:
    /// Both outlive it, and the text stays where it is. The report is emptied.
    ReportWriter(const char* text, ReadReport* report);

    bool wanted() const { return report; }

    /// The place may be null: the text as a whole.
    void refuse(const char* at, const char* before, std::string_view name = {}, const char* after = "");

    /// Notes what is passed over. The name is cut short.
    void passOver(Loss kind, const char* at, std::string_view name);

    size_t noteCount() const { return notes.size(); }
    /// Keeps the first `count` notes.
    void forgetNotesAfter(size_t count);

    /// Puts the notes into the report, in the order of the text. Called once, if the text is accepted.
    void finish();

private:
    TextPlace placeOf(const char* at);

    ReadReport* const report;
    std::vector<std::pair<const char*, PassedOver>> notes;
    const char* counted; ///< Up to here the lines are counted.
    const char* line;    ///< Where the last of them begins.
    size_t lines = 1;
};

}
