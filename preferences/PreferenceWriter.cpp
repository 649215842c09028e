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

const std::string idWord = "id";
const std::string nameWord = "name";
const std::string valueWord = "value";

struct ValueSetter
{
    void operator()(bool value) const { element.SetAttribute(valueWord, std::string(value ? "true" : "false")); }
    void operator()(long value) const { element.SetAttribute(valueWord, std::to_string(value)); }
    void operator()(double value) const { element.SetAttribute(valueWord, std::to_string(value)); }
    void operator()(const std::string& value) const { element.SetAttribute(valueWord, value); }

    TiXmlElement& element;
};

/// Makes the form the element of a key. What it held for another key is written over, so that of all keys together
/// little more than the one with the most attributes takes memory.
void fillIn(TiXmlElement& form, const PreferenceTable::value_type& entry)
{
    const auto& [key, attributes] = entry;
    const bool group = PreferenceIO::isGroup(key);
    form.SetValue(group ? "group" : "card");
    form.SetAttribute(idWord, group ? key.substr(groupWordLength) : key);
    TiXmlElement* line = form.FirstChildElement();
    for (const auto& [name, value] : attributes)
    {
        if (!line)
        {
            line = new TiXmlElement("attribute");
            form.LinkEndChild(line);
        }
        line->SetAttribute(nameWord, name);
        visit(ValueSetter{*line}, value);
        line = line->NextSiblingElement();
    }
    while (line)
    {
        TiXmlElement* const next = line->NextSiblingElement();
        form.RemoveChild(line);
        line = next;
    }
}

/// Stands in the document for one key of the table, and becomes a whole element only while it is printed: the document
/// of a large table would take more memory than the table.
class KeyElement final : public TiXmlElement
{
public:
    /// Both outlive it. The form is shared by all.
    KeyElement(const PreferenceTable::value_type& entry, TiXmlElement& form)
        : TiXmlElement("key"), entry(entry), form(form)
    {
    }

    void Print(FILE* file, int depth) const override
    {
        fillIn(form, entry);
        form.Print(file, depth);
    }

private:
    const PreferenceTable::value_type& entry;
    TiXmlElement& form;
};

/// Null if there is no memory for it.
std::unique_ptr<TiXmlDocument> documentOf(const PreferenceTable& table, TiXmlElement& form)
{
    std::unique_ptr<TiXmlDocument> document(new (std::nothrow) TiXmlDocument);
    if (!document)
        return nullptr;
    document->LinkEndChild(new TiXmlDeclaration("1.0", "ISO-8859-1", "true"));
    auto* root = new TiXmlElement("QuillstonePreferences");
    document->LinkEndChild(root);
    for (const PreferenceTable::value_type& entry : table)
        root->LinkEndChild(new KeyElement(entry, form));
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
    TiXmlElement form("card");
    const std::unique_ptr<TiXmlDocument> document = documentOf(store->table, form);
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

size_t PreferenceIO::writtenSize(const std::string& value)
{
    std::string written;
    TiXmlBase::EncodeString(value, &written);
    return written.size();
}
