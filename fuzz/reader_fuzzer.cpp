#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/ParserDocument.h"

namespace
{

/// A folder of this process's own.
std::string makeFolder()
{
    static std::string folder = std::filesystem::temp_directory_path() / "reader-fuzzer-XXXXXX";
    if (!mkdtemp(folder.data()))
        abort();
    atexit([] { std::filesystem::remove_all(folder); });
    return folder;
}

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

    static const std::string path = makeFolder() + "/folder/file";
    PreferenceStore store(path);
    if (!store.parseText(text) || store.table.empty())
        return 0;
    require(store.write(), "what was read could not be written");
    std::ifstream written(path, std::ios::binary);
    require(printedByParser(store.table) == std::string(std::istreambuf_iterator<char>(written), {}), "the bytes");
    return 0;
}
