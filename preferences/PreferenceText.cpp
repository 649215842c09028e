#include "preferences/PreferenceText.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>

#include "preferences/ElementWalk.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// Turns all line ends into line feeds, as the parser does when it loads a file, but not with a text in memory.
void normalise(std::string& text)
{
    size_t kept = std::min(text.find('\r'), text.size());
    bool afterReturn = false;
    for (size_t at = kept; at < text.size(); ++at)
    {
        const char byte = text[at];
        if (byte != '\n' || !afterReturn)
            text[kept++] = byte == '\r' ? '\n' : byte;
        afterReturn = byte == '\r';
    }
    text.resize(kept);
}

/// Parses a preference file's text into an empty table.
class PreferenceWalk final : public ElementWalk
{
public:
    /// All three outlive it. The table is empty.
    PreferenceWalk(const std::string& text, PreferenceStore& store, ReportWriter& report)
        : ElementWalk(text, report), store(store), report(report)
    {
    }

    bool parse() { return walk() && (rootFound || refuse(nullptr, "there is no element")); }

private:
    /// What an element means in a preference file.
    enum class Role
    {
        Root,
        Entry,   ///< A card or a group.
        Setting, ///< An `attribute` of an entry.
        Other    ///< Passed over, with all that is in it.
    };

    bool beginElement(const char* at, const std::string& name) override
    {
        start = at;
        element = name;
        role = roleOf(name);
        notesBefore = report.noteCount();
        id.reset();
        setting.reset();
        text.reset();
        if (role == Role::Root && name != "QuillstonePreferences")
            return refuse(at, "the first element is <", name, "> instead of <QuillstonePreferences>");
        return true;
    }

    Role roleOf(const std::string& name) const
    {
        if (inPassedOver())
            return Role::Other;
        switch (depth())
        {
        case 0:
            return rootFound ? Role::Other : Role::Root;
        case 1:
            return Role::Entry;
        case 2:
            return name == "attribute" ? Role::Setting : Role::Other;
        default:
            return Role::Other;
        }
    }

    void handleAttribute(const char* at, const std::string& name, const std::string& value) override
    {
        if (role == Role::Entry && name == "id")
            id = value;
        else if (role == Role::Setting && name == "name")
            setting = value;
        else if (role == Role::Setting && name == "value")
            text = value;
        else
            passOver(Loss::Attribute, at, name);
    }

    void completeTag() override
    {
        if (role == Role::Root)
            rootFound = true;
        else if (role == Role::Entry)
            addEntry();
        else if (role == Role::Setting)
            addSetting();
        else if (!inPassedOver())
            passOverElement(Loss::Element);
    }

    void addEntry()
    {
        if (!id)
            return passOverElement(Loss::EntryWithoutId);
        key = element == "group" ? "group" + *id : *id;
        entryStart = start;
        hasSettings = false;
        if (!report.wanted())
            return;
        if (element != "group" && element != "card")
            passOver(Loss::ElementName, start, element);
        if (!keys.insert(key).second)
            passOver(Loss::DoubledKey, start, key);
    }

    void addSetting()
    {
        if (!setting || !text)
            return passOverElement(Loss::IncompleteSetting);
        if (report.wanted() && store.has(key, *setting))
            passOver(Loss::DoubledSetting, start, *setting);
        store.set(key, *setting, std::move(*text));
        hasSettings = true;
    }

    void endElement() override
    {
        if (depth() == passedOverDepth)
            passedOverDepth = noDepth;
        else if (depth() == 1 && !inPassedOver() && !hasSettings)
            passOver(Loss::EntryWithoutSettings, entryStart, key);
    }

    void passOver(Loss kind, const char* at, std::string_view name) override
    {
        if (!inPassedOver())
            report.passOver(kind, at, name);
    }

    /// Passes over the present element with all that is in it, so nothing inside is noted.
    void passOverElement(Loss kind)
    {
        report.forgetNotesAfter(notesBefore);
        passOver(kind, start, setting ? *setting : element);
        passedOverDepth = depth();
    }

    bool inPassedOver() const { return depth() > passedOverDepth; }

    PreferenceStore& store;
    ReportWriter& report;
    bool rootFound = false;

    // The present element.
    const char* start = nullptr;
    std::string element;
    Role role = Role::Other;
    size_t notesBefore = 0;
    std::optional<std::string> id;
    std::optional<std::string> setting;
    std::optional<std::string> text;

    // The open entry.
    std::string key;
    const char* entryStart = nullptr;
    bool hasSettings = false;

    static constexpr size_t noDepth = SIZE_MAX;
    size_t passedOverDepth = noDepth; ///< The depth of the open element that is passed over.
    std::set<std::string> keys;       ///< Of all entries, if a report is wanted.
};

}

bool ostrivane::parsePreferences(std::string text, PreferenceStore& store, ReadReport* report)
{
    const size_t end = std::min(text.find('\0'), text.size());
    const bool cutOff = end < text.size();
    text.resize(end);
    normalise(text);
    const size_t size = text.size();
    text += ElementWalk::padding;

    ReportWriter writer(text.c_str(), report);
    PreferenceStore result{std::string()};
    if (size == 0)
        writer.refuse(nullptr, "it is empty");
    if (size == 0 || !PreferenceWalk(text, result, writer).parse())
        return false;
    if (cutOff)
        writer.passOver(Loss::Rest, text.c_str() + size, "NUL");
    writer.finish();
    store.swapTables(result);
    return true;
}
