#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/ParserDocument.h"
#include "testing/TemporaryFolder.h"

namespace
{

void require(bool condition, const std::string& what)
{
    if (condition)
        return;
    fprintf(stderr, "%s\n", what.c_str());
    abort();
}

}

/// Reads any bytes as a preference file, and holds what was read, or that it was refused, to the XML parser's own
/// document. What was read is written, and has to be what the parser prints.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string difference = differenceOf(text);
    require(difference.empty(), "the parser's document differs: " + difference);

    static const TemporaryFolder home;
    const std::string path = home / "folder/file";
    PreferenceStore store(path);
    if (!store.parseText(text) || store.table.empty())
        return 0;
    require(store.write(), "what was read could not be written");
    require(printedByParser(store.table) == contents(path), "the bytes");
    return 0;
}
