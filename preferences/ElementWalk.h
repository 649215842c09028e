#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <tinyxml.h>

#include "preferences/ReportWriter.h"

inline namespace ostrivane
{

/// Parses an XML text in one pass, without a tree, and tells the class derived from it of each element and attribute.
///
/// Accepts and refuses what the XML parser's document does. Elements are walked here, with a stack of those that are
/// open; all else is parsed by the parser's own pieces. They are protected members of its element, so this is one.
///
/// Used by one thread.
class ElementWalk : private TiXmlElement
{
public:
    /// What a text has to end in: in its UTF-8 mode the parser skips as many bytes as a first byte announces, up to
    /// three, without looking at them, also past the end.
    static constexpr const char* padding = "\n\n\n";

protected:
    /// Both outlive it. The text has neither NUL nor carriage return, and ends in the padding.
    ElementWalk(const std::string& text, ReportWriter& report);

    /// False if the text is refused.
    bool walk();

    /// How many elements are open around the present one.
    size_t depth() const { return open.size(); }

    /// Ends the walk. Always false.
    bool refuse(const char* at, const char* before, std::string_view name = {}, const char* after = "");

    /// An element begins at its `<`. False if it was refused.
    virtual bool beginElement(const char* start, const std::string& name) = 0;
    /// One of its attributes, which are read one after the other before anything else.
    virtual void handleAttribute(const char* start, const std::string& name, const std::string& value) = 0;
    /// Its tag is complete.
    virtual void completeTag() = 0;
    /// It ends, maybe with its tag.
    virtual void endElement() = 0;
    /// What is no element is passed over.
    virtual void passOver(Loss kind, const char* at, std::string_view name) = 0;

private:
    struct Element
    {
        const char* start;
        std::string_view name;
    };

    /// The names of one element's attributes, as they stand in the text.
    class Names
    {
    public:
        void clear();
        /// False if it was there.
        bool add(std::string_view name);

    private:
        std::vector<std::string_view> few;
        std::set<std::string_view> many; ///< Ordered, as whoever writes the file could choose names of one hash.
    };

    bool atEnd() const { return !position || !*position; }
    void skipSpace() { position = SkipWhiteSpace(position, encoding); }
    void step();
    void parseText();
    void parseMarkup();
    void parseDeclaration(const char* start, const TiXmlDeclaration& declaration);
    void parseElement();
    bool parseTag(const Element& element);
    bool parseAttribute();
    void parseEndTag();

    const char* position; ///< Null where the parser's pieces have given up.
    ReportWriter& report;
    TiXmlEncoding encoding = TIXML_ENCODING_UNKNOWN;
    bool declared = false;
    bool refused = false;
    std::vector<Element> open;
    std::string scratch;
    TiXmlAttribute parsedAttribute;
    Names names;
};

}
