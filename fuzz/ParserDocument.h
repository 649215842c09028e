#pragma once

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <tinyxml.h>

#include "preferences/Owner.h"
#include "preferences/PreferenceIO.h"
#include "preferences/PreferenceStore.h"

// What the XML parser's own document makes of a text and of a table, to hold the reader and the writer to it.

/// The parser recurses into nested elements: this runs what uses it on a thread with a stack for many levels.
inline void onDeepStack(const std::function<void()>& work)
{
    constexpr size_t stackSize = size_t(1) << 26;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t thread;
    const auto run = [](void* argument) -> void*
    {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)) != 0)
        abort();
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

/// Null if the parser refuses the text. It gets it without what it would not read, and with what it would read past.
inline std::unique_ptr<TiXmlDocument> parserDocument(const std::string& bytes)
{
    std::string text = bytes.substr(0, bytes.find('\0')) + "\n\n\n";
    const Stream file(fmemopen(text.data(), text.size(), "rb"));
    auto document = std::make_unique<TiXmlDocument>();
    return document->LoadFile(file.get()) ? std::move(document) : nullptr;
}

/// True if the document is that of a preference file; then the table of the store is what it says.
inline bool readDocument(const TiXmlDocument& document, PreferenceStore& store)
{
    const TiXmlElement* root = document.FirstChildElement();
    if (!root || root->ValueStr() != "QuillstonePreferences")
        return false;
    store.clear();
    for (const TiXmlElement* entry = root->FirstChildElement(); entry; entry = entry->NextSiblingElement())
        for (const TiXmlElement* line = entry->FirstChildElement(); line; line = line->NextSiblingElement())
        {
            const std::string* id = entry->Attribute(std::string("id"));
            const std::string* name = line->Attribute(std::string("name"));
            const std::string* value = line->Attribute(std::string("value"));
            if (id && name && value && line->ValueStr() == "attribute")
                store.set(entry->ValueStr() == "group" ? "group" + *id : *id, *name, *value);
        }
    return true;
}

/// How many nodes and attributes there are in a node; of a document, its first declaration apart.
inline size_t piecesOf(const TiXmlNode& node)
{
    size_t pieces = 0;
    for (const TiXmlNode* child = node.ToDocument() ? node.FirstChild() : nullptr; child; child = child->NextSibling())
        if (child->ToDeclaration())
        {
            --pieces;
            break;
        }
    if (const TiXmlElement* element = node.ToElement())
        for (const TiXmlAttribute* attribute = element->FirstAttribute(); attribute; attribute = attribute->Next())
            ++pieces;
    for (const TiXmlNode* child = node.FirstChild(); child; child = child->NextSibling())
        pieces += 1 + piecesOf(*child);
    return pieces;
}

/// What the parser prints of a table of strings.
inline std::string printedByParser(const PreferenceTable& table)
{
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlDeclaration("1.0", "ISO-8859-1", "true"));
    auto* root = document.LinkEndChild(new TiXmlElement("QuillstonePreferences"));
    for (const auto& [key, attributes] : table)
    {
        const bool group = PreferenceIO::isGroup(key);
        auto* entry = new TiXmlElement(group ? "group" : "card");
        entry->SetAttribute(std::string("id"), group ? key.substr(5) : key);
        root->LinkEndChild(entry);
        for (const auto& [name, value] : attributes)
        {
            auto* line = new TiXmlElement("attribute");
            line->SetAttribute(std::string("name"), name);
            line->SetAttribute(std::string("value"), get<std::string>(value));
            entry->LinkEndChild(line);
        }
    }
    char* bytes = nullptr;
    size_t size = 0;
    document.SaveFile(Stream(open_memstream(&bytes, &size)).get()); // which is closed behind it
    std::string text(bytes, size);
    free(bytes);
    return text;
}

/// Where the reader differs from the parser's document, in words; empty where it doesn't.
inline std::string differenceOf(const std::string& text)
{
    std::string difference;
    onDeepStack(
        [&]
        {
            PreferenceStore ours{std::string()};
            PreferenceStore theirs{std::string()};
            ReadReport report;
            const bool read = ours.parseText(text, &report);
            const std::unique_ptr<TiXmlDocument> document = parserDocument(text);
            if (read != (document && readDocument(*document, theirs)))
                difference = read ? "accepted" : "refused: " + report.reason;
            else if (read == report.refused || report.refused == report.reason.empty())
                difference = "the report";
            else if (ours.table != theirs.table)
                difference = "the table";
            if (!read || !difference.empty())
                return;
            size_t lost = 0;
            for (const PassedOver& passed : report.passedOver)
                lost += passed.kind != Loss::Encoding && passed.kind != Loss::ElementName && passed.kind != Loss::Rest;
            const auto written = parserDocument(printedByParser(ours.table));
            if ((lost == 0) != (piecesOf(*document) == piecesOf(*written)))
                difference = "the losses";
        });
    return difference;
}
