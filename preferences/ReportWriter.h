#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "preferences/ReadReport.h"

/// Fills in a report on the reading of one text, if there is one to fill in: else nothing costs more than a look.
class ReportWriter
{
public:
    /// Both outlive it, and the text stays where it is. The report is emptied.
    ReportWriter(const char* text, ReadReport* report);

    bool wanted() const { return report; }

    /// The place may be null: the text as a whole.
    void refuse(const char* at, const char* before, std::string_view name = {}, const char* after = "");

    /// Notes what is passed over. The name is cut short.
    void pass(Loss kind, const char* at, std::string_view name);

    /// How many things have been noted, and the way back there.
    size_t count() const { return noted.size(); }
    void backTo(size_t count);

    /// Puts what was noted into the report, in the order of the text. Called once, if the text is accepted.
    void finish();

private:
    TextPlace placeOf(const char* at);

    ReadReport* const report;
    std::vector<std::pair<const char*, PassedOver>> noted;
    const char* counted; ///< Up to here the lines are counted.
    const char* line;    ///< Where the last of them begins.
    size_t lines = 1;
};
