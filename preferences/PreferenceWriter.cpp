#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include <boost/filesystem.hpp>
#include <tinyxml.h>

#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

namespace
{

/// The finished file is everybody's, whatever the umask says.
constexpr mode_t openToAll = 0666;

constexpr size_t groupWordLength = 5;

struct TextOfValue
{
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(long value) const { return std::to_string(value); }
    std::string operator()(double value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return value; }
};

/// Null if the element could not be inserted.
TiXmlElement* insert(TiXmlNode& parent, const std::string& name)
{
    TiXmlNode* inserted = parent.InsertEndChild(TiXmlElement(name));
    return inserted ? inserted->ToElement() : nullptr;
}

void insertKey(TiXmlElement& root, const std::string& key, PreferenceStore& store)
{
    static const std::string idWord = "id";
    static const std::string nameWord = "name";
    static const std::string valueWord = "value";
    const bool group = PreferenceIO::isGroup(key);
    TiXmlElement* element = insert(root, group ? "group" : "card");
    if (!element)
        return;
    element->SetAttribute(idWord, group ? key.substr(groupWordLength) : key);
    store.forEachAttribute(key,
                           [element](const std::string& name, PreferenceValue& value)
                           {
                               if (TiXmlElement* attribute = insert(*element, "attribute"))
                               {
                                   attribute->SetAttribute(nameWord, name);
                                   attribute->SetAttribute(valueWord, visit(TextOfValue(), value));
                               }
                           });
}

/// Null if there is no memory for it.
std::unique_ptr<TiXmlDocument> documentOf(PreferenceStore& store)
{
    std::unique_ptr<TiXmlDocument> document(new (std::nothrow) TiXmlDocument);
    if (!document)
        return nullptr;
    document->InsertEndChild(TiXmlDeclaration("1.0", "ISO-8859-1", "true"));
    if (TiXmlElement* root = insert(*document, "QuillstonePreferences"))
        for (const std::string& key : store.keys())
            insertKey(*root, key, store);
    return document;
}

/// A descriptor, or -1, that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int number) : number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (number != -1)
            close(number);
    }

    /// Gives the responsibility away.
    int release() { return std::exchange(number, -1); }

    int number;
};

/// The new content on its way into place: a file of its own until it has taken the place of the old one. Removes the
/// file again if it does not come to that.
class Replacement
{
public:
    /// The file lies beside the folder of `path`, on the same file system.
    Replacement(const std::string& path, const std::string& folder, const std::string& leaf)
        : path(path), temporary(folder + "." + leaf + "~XXXXXX"), file(mkostemp(temporary.data(), O_CLOEXEC))
    {
        if (file.number == -1)
            return;
        static_cast<void>(fchmod(file.number, openToAll)); // without it the file is root's alone, but whole
        parent = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
    }

    ~Replacement()
    {
        if (parent != -1)
            close(parent);
        if (pending())
            unlink(temporary.c_str());
        if (stream)
            fclose(stream);
    }

    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// True once the new content is in place and, as far as the folder could be opened, stays there after a crash.
    bool save(const TiXmlDocument& document)
    {
        if (file.number == -1)
            return false;
        stream = fdopen(file.number, "wb");
        if (!stream)
            return false;
        file.release();
        if (!document.SaveFile(stream) || fflush(stream) != 0 || fdatasync(fileno(stream)) != 0 ||
            rename(temporary.c_str(), path.c_str()) != 0)
            return false;
        inPlace = true;
        if (parent != -1)
            static_cast<void>(fdatasync(parent)); // the file is in place whatever comes of it
        return true;
    }

private:
    bool pending() const { return !inPlace && (stream || file.number != -1); }

    const std::string path;
    std::string temporary;
    Descriptor file; ///< Until `stream` has it.
    int parent = -1;
    FILE* stream = nullptr;
    bool inPlace = false;
};

}

bool PreferenceIO::write()
{
    namespace filesystem = boost::filesystem;
    const filesystem::path target(path);
    if (path.empty() || (!target.root_directory().empty() && target.relative_path().empty()))
        return false;
    const std::unique_ptr<TiXmlDocument> document = documentOf(*store);
    if (!document)
        return false;
    const filesystem::path parent = target.parent_path();
    if (!is_directory(status(parent)))
        create_directories(parent);
    return Replacement(path, parent.string(), target.filename().string()).save(*document);
}

bool PreferenceIO::reset()
{
    store->clear();
    return write();
}
