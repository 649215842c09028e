#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include <boost/filesystem.hpp>
#include <tinyxml.h>

#include "preferences/FileReplacement.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

constexpr size_t groupWordLength = 5;

struct TextOf
{
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(long value) const { return std::to_string(value); }
    std::string operator()(double value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return value; }
};

/// Prints a table as the XML parser would print its document: the layout is repeated here, attributes are printed by
/// the parser.
class Printer
{
public:
    explicit Printer(FILE* stream) : stream(stream) {}

    void print(const PreferenceTable& table) const
    {
        TiXmlDeclaration("1.0", "ISO-8859-1", "true").Print(stream, 0);
        put("\n<QuillstonePreferences");
        put(table.empty() ? " />" : ">");
        for (const auto& [key, attributes] : table)
            print(key, attributes);
        put(table.empty() ? "\n" : "\n</QuillstonePreferences>\n");
    }

private:
    void print(const std::string& key, const PreferenceAttributes& attributes) const
    {
        const bool group = PreferenceIO::isGroup(key);
        put(group ? "\n    <group" : "\n    <card");
        printAttribute("id", group ? key.substr(groupWordLength) : key);
        put(attributes.empty() ? " />" : ">");
        for (const auto& [name, value] : attributes)
        {
            put("\n        <attribute");
            printAttribute("name", name);
            printAttribute("value", visit(TextOf(), value));
            put(" />");
        }
        if (!attributes.empty())
            put(group ? "\n    </group>" : "\n    </card>");
    }

    void printAttribute(const char* name, const std::string& value) const
    {
        put(" ");
        TiXmlAttribute(name, value).Print(stream, 0);
    }

    void put(const char* text) const { static_cast<void>(fputs(text, stream)); } // the stream remembers a failure

    FILE* const stream;
};

}

bool PreferenceIO::write()
{
    const boost::filesystem::path target(path);
    if (path.empty() || (!target.root_directory().empty() && target.relative_path().empty()))
    {
        errno = EINVAL;
        return false;
    }
    FileReplacement replacement(path);
    if (!replacement.stream())
        return false;
    Printer(replacement.stream()).print(store->table);
    return replacement.commit();
}

bool PreferenceIO::reset()
{
    store->clear();
    return write();
}

std::string PreferenceIO::text() const
{
    char* bytes = nullptr;
    size_t size = 0;
    Stream stream(open_memstream(&bytes, &size));
    if (!stream)
        throw std::bad_alloc();
    Printer(stream.get()).print(store->table);
    const bool whole = fclose(stream.release()) == 0;
    const std::unique_ptr<char, decltype(&free)> owner(bytes, free);
    if (!whole)
        throw std::bad_alloc();
    return {bytes, size};
}

size_t PreferenceIO::writtenSize(const std::string& value)
{
    std::string written;
    TiXmlBase::EncodeString(value, &written);
    return written.size();
}
