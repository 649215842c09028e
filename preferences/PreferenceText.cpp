#include "preferences/PreferenceText.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>

#include "preferences/ElementWalk.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// What the parser would see of it: up to the first NUL byte, with line ends as line feeds. It does so itself when it
/// loads a file, but not with a text that it is given.
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

/// Puts what an accepted text says into a table.
class PreferenceWalk final : public ElementWalk
{
public:
    /// All outlive it. The table is empty.
    PreferenceWalk(const std::string& text, PreferenceStore& store, ReportWriter& report)
        : ElementWalk(text, report), store(store), report(report)
    {
    }

    bool read() { return walk() && (rootFound || refuse(nullptr, "there is no element")); }

private:
    /// What an element is to a preference file.
    enum class Role
    {
        Root,
        Entry,   ///< A card or a group.
        Setting, ///< An `attribute` of an entry.
        Other    ///< Passed over, with all that is in it.
    };

    bool begin(const char* at, const std::string& called) override
    {
        start = at;
        element = called;
        role = roleOf(called);
        notedBefore = report.count();
        id.reset();
        setting.reset();
        text.reset();
        if (role == Role::Root && called != "QuillstonePreferences")
            return refuse(at, "the first element is <", called, "> instead of <QuillstonePreferences>");
        return true;
    }

    Role roleOf(const std::string& called) const
    {
        if (inOther())
            return Role::Other;
        switch (depth())
        {
        case 0:
            return rootFound ? Role::Other : Role::Root;
        case 1:
            return Role::Entry;
        case 2:
            return called == "attribute" ? Role::Setting : Role::Other;
        default:
            return Role::Other;
        }
    }

    void attribute(const char* at, const std::string& called, const std::string& value) override
    {
        if (role == Role::Entry && called == "id")
            id = value;
        else if (role == Role::Setting && called == "name")
            setting = value;
        else if (role == Role::Setting && called == "value")
            text = value;
        else
            pass(Loss::Attribute, at, called);
    }

    void take() override
    {
        if (role == Role::Root)
            rootFound = true;
        else if (role == Role::Entry)
            takeEntry();
        else if (role == Role::Setting)
            takeSetting();
        else if (!inOther())
            passWhole(Loss::Element);
    }

    void takeEntry()
    {
        if (!id)
            return passWhole(Loss::EntryWithoutId);
        key = element == "group" ? "group" + *id : *id;
        entryStart = start;
        hasSettings = false;
        if (!report.wanted())
            return;
        if (element != "group" && element != "card")
            pass(Loss::ElementName, start, element);
        if (!keys.insert(key).second)
            pass(Loss::DoubledKey, start, key);
    }

    void takeSetting()
    {
        if (!setting || !text)
            return passWhole(Loss::IncompleteSetting);
        if (report.wanted() && store.has(key, *setting))
            pass(Loss::DoubledSetting, start, *setting);
        store.set(key, *setting, std::move(*text));
        hasSettings = true;
    }

    void end() override
    {
        if (depth() == other)
            other = nowhere;
        else if (depth() == 1 && !inOther() && !hasSettings)
            pass(Loss::EntryWithoutSettings, entryStart, key);
    }

    void pass(Loss kind, const char* at, std::string_view called) override
    {
        if (!inOther())
            report.pass(kind, at, called);
    }

    /// The element goes with all that is in it, so nothing of that is named.
    void passWhole(Loss kind)
    {
        report.backTo(notedBefore);
        pass(kind, start, setting ? *setting : element);
        other = depth();
    }

    bool inOther() const { return depth() > other; }

    PreferenceStore& store;
    ReportWriter& report;
    bool rootFound = false;

    // The element that is being told of.
    const char* start = nullptr;
    std::string element;
    Role role = Role::Other;
    size_t notedBefore = 0;
    std::optional<std::string> id;
    std::optional<std::string> setting;
    std::optional<std::string> text;

    // The entry that is open.
    std::string key;
    const char* entryStart = nullptr;
    bool hasSettings = false;

    static constexpr size_t nowhere = SIZE_MAX;
    size_t other = nowhere;     ///< The depth of the open element that is passed over.
    std::set<std::string> keys; ///< Of all entries, if a report is wanted.
};

}

bool readPreferences(std::string text, PreferenceStore& store, ReadReport* report)
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
    if (size == 0 || !PreferenceWalk(text, result, writer).read())
        return false;
    if (cutOff)
        writer.pass(Loss::Rest, text.c_str() + size, "NUL");
    writer.finish();
    store.swapTables(result);
    return true;
}
