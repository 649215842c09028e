#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <tinyxml.h>

#include "preferences/ParserLimits.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// A home of this process's own, so that the user's file can be any bytes.
std::string makeHome()
{
    static std::string home = std::filesystem::temp_directory_path() / "reader-fuzzer-XXXXXX";
    if (!mkdtemp(home.data()))
        abort();
    setenv("HOME", home.c_str(), 1);
    atexit([] { std::filesystem::remove_all(home); });
    return home;
}

/// What a second reading gives of a table: keys without attributes are not written in a form that is read.
PreferenceTable readable(const PreferenceTable& table)
{
    PreferenceTable result;
    for (const auto& entry : table)
        if (!entry.second.empty())
            result.push_back(entry);
    return result;
}

/// A key with "group" somewhere behind its beginning is written as a group's, which gives another key.
bool hasOddKey(const PreferenceTable& table)
{
    return std::any_of(table.begin(), table.end(),
                       [](const auto& entry)
                       { return PreferenceIO::isGroup(entry.first) && !entry.first.starts_with("group"); });
}

int depthOf(const TiXmlNode& node)
{
    int deepest = 0;
    for (const TiXmlNode* child = node.FirstChild(); child; child = child->NextSibling())
        deepest = std::max(deepest, depthOf(*child) + (child->ToElement() ? 1 : 0));
    return deepest;
}

[[noreturn]] void fail(const char* what)
{
    fprintf(stderr, "%s\n", what);
    abort();
}

/// A text that the parser may have makes no deeper a document than was promised, also where the parser gives up later.
void checkDepth(std::string text)
{
    std::erase_if(text, [](char byte) { return byte == '\0' || byte == '\r'; });
    text += "\n\n\n";
    if (!fitsParser(text))
        return;
    TiXmlDocument document;
    document.Parse(text.c_str());
    if (depthOf(document) > 65) // the 64 and an empty element in the last of them
        fail("a deep document passed");
}

}

/// Reads any bytes as a preference file. What was read is written and read again, and has to be the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    checkDepth(std::string(reinterpret_cast<const char*>(data), size));
    static const std::string home = makeHome();
    PreferenceStore first(true);
    std::filesystem::create_directories(std::filesystem::path(first.io->path).parent_path());
    std::ofstream(first.io->path, std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    if (!first.read() || hasOddKey(first.table))
        return 0;
    if (!first.write())
        fail("what was read could not be written");
    PreferenceStore second(true);
    if (!second.read())
        fail("what was written could not be read");
    if (readable(first.table) != readable(second.table))
        fail("the second reading differs");
    return 0;
}
