#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <tinyxml.h>

#include "preferences/ReportWriter.h"

/// One pass over a text that moves on as the XML parser's document does, and refuses what that one refuses, but makes
/// no tree. Elements are walked here, with a stack of those that are open; all else is read by the parser's own pieces.
/// Who derives from it is told of the elements and their attributes.
///
/// It is one of the parser's elements, one without a document, as the parser keeps its pieces for such.
class ElementWalk : private TiXmlElement
{
public:
    /// In its UTF-8 mode the parser takes up to three bytes behind a first one without a look at them, so a sequence
    /// that is cut off by the end would take it past the end. A text ends in this.
    static constexpr const char* padding = "\n\n\n";

protected:
    /// Both outlive it. The text has neither NUL nor carriage return, and ends in the padding.
    ElementWalk(const std::string& text, ReportWriter& report);

    /// False if the text is refused.
    bool walk();

    /// How many elements are open, apart from the one that is being told of.
    size_t depth() const { return open.size(); }

    /// Gives false. The walk ends then.
    bool refuse(const char* at, const char* before, std::string_view name = {}, const char* after = "");

    /// An element begins at its `<`. False if it was refused.
    virtual bool begin(const char* start, const std::string& name) = 0;
    /// One of its attributes, which are read one after the other before anything else.
    virtual void attribute(const char* start, const std::string& name, const std::string& value) = 0;
    /// Its tag is complete.
    virtual void take() = 0;
    /// It ends, maybe with its tag.
    virtual void end() = 0;
    /// What is no element is passed over.
    virtual void pass(Loss kind, const char* at, std::string_view name) = 0;

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

    bool over() const { return !position || !*position; }
    void skipSpace() { position = SkipWhiteSpace(position, encoding); }
    void step();
    void readText();
    void readMarkup();
    void declare(const char* start, const TiXmlDeclaration& declaration);
    void readElement();
    bool readTag(const Element& element);
    bool readAttribute();
    void readEndTag();

    const char* position; ///< Null where the parser's pieces have given up.
    ReportWriter& report;
    TiXmlEncoding encoding = TIXML_ENCODING_UNKNOWN;
    bool declared = false;
    bool refused = false;
    std::vector<Element> open;
    std::string scratch;
    TiXmlAttribute parsed;
    Names names;
};
