#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include <tinyxml.h>

#include "preferences/ParserLimits.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

constexpr const char* systemPath = "/etc/quillstone/QuillstonePreferences.xml";
constexpr const char* pathInHome = "/.config/quillstone/QuillstonePreferences.xml";

std::string choosePath(bool useUserFile)
{
    if (!useUserFile)
        return systemPath;
    const char* home = getenv("HOME");
    return home ? std::string(home) + pathInHome : std::string();
}

struct StreamCloser
{
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// Opens a regular file, and nothing else: a folder opens too, but its end lies at 2^63-1, and a pipe waits for
/// somebody to write.
Stream openRegularFile(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    struct stat status = {};
    Stream stream;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        stream.reset(fdopen(descriptor, "rb"));
    if (!stream)
        close(descriptor);
    return stream;
}

/// The parser does so when it loads a file by itself, but not with a text that it is given.
void normaliseLineEnds(std::string& text)
{
    size_t kept = text.find('\r');
    bool afterReturn = false;
    for (size_t at = kept; at < text.size(); ++at)
    {
        const char byte = text[at];
        if (byte != '\n' || !afterReturn)
            text[kept++] = byte == '\r' ? '\n' : byte;
        afterReturn = byte == '\r';
    }
    if (kept < text.size())
        text.resize(kept);
}

/// In its UTF-8 mode the parser takes up to three bytes behind a first one without a look at them, so a sequence that
/// is cut off by the end would take it past the end.
constexpr const char* padding = "\n\n\n";

/// A file says how long it is, but may have holes: beyond this the text grows as it is read.
constexpr size_t mostReserved = 1 << 26;

/// What the parser would see of the file: up to the first NUL byte, with line ends as line feeds. Nothing if the file
/// is empty or can't be read.
///
/// It is read once and parsed from memory: somebody may write into the file between a look at it and the parsing.
std::optional<std::string> textOf(const std::string& path)
{
    const Stream stream = openRegularFile(path);
    if (!stream)
        return std::nullopt;
    std::string text;
    struct stat status = {};
    if (fstat(fileno(stream.get()), &status) == 0)
        text.reserve(std::min<size_t>(static_cast<size_t>(status.st_size) + strlen(padding), mostReserved));
    char block[1 << 16];
    for (size_t count = 0; (count = fread(block, 1, sizeof block, stream.get())) > 0;)
    {
        const void* end = memchr(block, '\0', count);
        text.append(block, end ? static_cast<size_t>(static_cast<const char*>(end) - block) : count);
        if (end)
            break;
    }
    normaliseLineEnds(text);
    if (ferror(stream.get()) || text.empty())
        return std::nullopt;
    return text.append(padding);
}

bool parse(const std::string& text, TiXmlDocument& document)
{
    document.SetTabSize(0); // no row and column of each node: nobody asks for them, and counting them takes time
    document.Parse(text.c_str());
    return !document.Error();
}

void readAttributes(const TiXmlElement& element, const std::string& key, PreferenceStore& store)
{
    // The forms with std::string: those with const char* end a value at a NUL that stood there as an entity.
    static const std::string nameWord = "name";
    static const std::string valueWord = "value";
    for (const TiXmlElement* child = element.FirstChildElement(); child; child = child->NextSiblingElement())
    {
        if (child->ValueStr() != "attribute")
            continue;
        const std::string* name = child->Attribute(nameWord);
        const std::string* value = child->Attribute(valueWord);
        if (name && value)
            store.set(key, *name, *value);
    }
}

}

PreferenceIO::PreferenceIO(PreferenceStore* store, bool useUserFile) : path(choosePath(useUserFile)), store(store) {}

bool PreferenceIO::read()
{
    const std::optional<std::string> text = textOf(path);
    if (!text || !fitsParser(*text))
        return false;
    const std::unique_ptr<TiXmlDocument> document(new (std::nothrow) TiXmlDocument);
    if (!document || !parse(*text, *document))
        return false;
    const TiXmlElement* root = document->FirstChildElement();
    if (!root || root->ValueStr() != "QuillstonePreferences")
        return false;

    static const std::string idWord = "id";
    store->clear();
    for (const TiXmlElement* element = root->FirstChildElement(); element; element = element->NextSiblingElement())
        if (const std::string* id = element->Attribute(idWord))
            readAttributes(*element, element->ValueStr() == "group" ? "group" + *id : *id, *store);
    return true;
}
