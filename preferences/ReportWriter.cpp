#include "preferences/ReportWriter.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr size_t maxNameLength = 40;

/// The first line of it, cut where that gets long.
std::string shortened(std::string_view name)
{
    const std::string_view line = name.substr(0, name.find('\n'));
    if (line.size() <= maxNameLength)
        return std::string(line);
    size_t end = maxNameLength; // not inside a character, if it is UTF-8
    while (end > maxNameLength - 3 && (line[end] & 0xC0) == 0x80)
        --end;
    return std::string(line.substr(0, end)) + "...";
}

}

const char* ostrivane::nameOf(Loss kind)
{
    switch (kind)
    {
    case Loss::Comment:
        return "comment";
    case Loss::Text:
        return "text";
    case Loss::Markup:
        return "other markup";
    case Loss::Encoding:
        return "encoding";
    case Loss::Element:
        return "other element";
    case Loss::ElementName:
        return "element name";
    case Loss::Attribute:
        return "other attribute";
    case Loss::EntryWithoutId:
        return "entry without an id";
    case Loss::EntryWithoutSettings:
        return "entry without a setting";
    case Loss::IncompleteSetting:
        return "setting without a name or a value";
    case Loss::DoubledKey:
        return "doubled key";
    case Loss::DoubledSetting:
        return "doubled setting";
    case Loss::Rest:
        return "all that follows";
    }
    return "";
}

ReportWriter::ReportWriter(const char* text, ReadReport* report) : report(report), counted(text), line(text)
{
    if (report)
        *report = {};
}

void ReportWriter::refuse(const char* at, const char* before, std::string_view name, const char* after)
{
    if (!report)
        return;
    report->refused = true;
    report->reason = before + shortened(name) + after;
    if (!at)
        return;
    report->place = placeOf(at);
    report->line.assign(line, strcspn(line, "\n"));
}

void ReportWriter::passOver(Loss kind, const char* at, std::string_view name)
{
    if (report)
        notes.push_back({at, {kind, {}, shortened(name)}});
}

void ReportWriter::forgetNotesAfter(size_t count)
{
    notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(count), notes.end());
}

void ReportWriter::finish()
{
    std::stable_sort(notes.begin(), notes.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [at, passed] : notes)
    {
        passed.place = placeOf(at);
        report->passedOver.push_back(std::move(passed));
    }
}

/// Counts on from the place of the last call, so `at` does not lie before that.
TextPlace ReportWriter::placeOf(const char* at)
{
    for (; counted < at; ++counted)
        if (*counted == '\n')
        {
            ++lines;
            line = counted + 1;
        }
    return {lines, static_cast<size_t>(at - line) + 1};
}
