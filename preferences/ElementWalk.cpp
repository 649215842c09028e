#include "preferences/ElementWalk.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace
{

constexpr const char* byteOrderMark = "\xEF\xBB\xBF";

/// More names of one element than this are looked up, not walked through.
constexpr size_t maxUnindexedNames = 16;

std::string_view wordAt(const char* at) { return {at, strcspn(at, " \t\n<>")}; }

/// What stands at the beginning of its first line.
std::string_view commentAt(const char* at)
{
    constexpr const char* space = " \t\n";
    constexpr size_t maxLength = 64; // a look at whole lines could take long, as a line may hold many comments
    const std::string_view all(at, strnlen(at, maxLength));
    const std::string_view text = all.substr(std::min(all.find_first_not_of(space, strlen("<!--")), all.size()));
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.find("-->")));
    return line.substr(0, line.find_last_not_of(space) + 1);
}

}

ElementWalk::ElementWalk(const std::string& text, ReportWriter& report)
    : TiXmlElement("walk"), position(text.c_str()), report(report)
{
    if (text.starts_with(byteOrderMark))
    {
        encoding = TIXML_ENCODING_UTF8;
        report.passOver(Loss::Encoding, position, "byte order mark");
    }
}

bool ElementWalk::walk()
{
    for (skipSpace(); !atEnd() && !refused; skipSpace())
        step();
    if (!refused && !open.empty())
        refuse(open.back().start, "<", open.back().name, "> is not closed");
    return !refused;
}

bool ElementWalk::refuse(const char* at, const char* before, std::string_view name, const char* after)
{
    refused = true;
    report.refuse(at, before, name, after);
    return false;
}

void ElementWalk::step()
{
    if (*position != '<')
        parseText();
    else if (!open.empty() && position[1] == '/')
        parseEndTag();
    else if (IsAlpha(static_cast<unsigned char>(position[1]), encoding) || position[1] == '_')
        parseElement();
    else
        parseMarkup();
}

/// Outside all elements a text ends the reading.
void ElementWalk::parseText()
{
    const char* const start = position;
    if (open.empty())
    {
        passOver(Loss::Rest, start, wordAt(start));
        position = nullptr;
        return;
    }
    position = ReadText(start, &scratch, true, "<", false, encoding);
    if (position)
        --position;
    if (!std::all_of(scratch.begin(), scratch.end(), [](char byte) { return IsWhiteSpace(byte); }))
        passOver(Loss::Text, start, wordAt(start));
}

/// A comment, a declaration, and whatever else is no element.
void ElementWalk::parseMarkup()
{
    const char* const start = position;
    const std::unique_ptr<TiXmlNode> node(Identify(start, encoding));
    position = node->Parse(start, nullptr, encoding);
    if (node->ToDeclaration() && open.empty() && !declared)
        parseDeclaration(start, *node->ToDeclaration());
    else if (node->ToComment())
        passOver(Loss::Comment, start, commentAt(start));
    else
        passOver(node->ToText() ? Loss::Text : Loss::Markup, start, wordAt(start + 1));
    if (position)
        return;
    if (!open.empty())
        refuse(start, "<", wordAt(start + 1), " does not end");
    else
        passOver(Loss::Rest, start, wordAt(start));
}

/// The first declaration decides on the encoding of what follows, unless a byte order mark has.
void ElementWalk::parseDeclaration(const char* start, const TiXmlDeclaration& declaration)
{
    declared = true;
    const char* const name = declaration.Encoding();
    if (strcasecmp(name, "ISO-8859-1") != 0)
        passOver(Loss::Encoding, start, *name ? name : "none");
    if (encoding != TIXML_ENCODING_UNKNOWN)
        return;
    const bool utf8 = !*name || strncasecmp(name, "UTF-8", 5) == 0 || strncasecmp(name, "UTF8", 4) == 0;
    encoding = utf8 ? TIXML_ENCODING_UTF8 : TIXML_ENCODING_LEGACY;
}

void ElementWalk::parseElement()
{
    const char* const start = position++;
    skipSpace();
    const char* const nameStart = position;
    position = position ? ReadName(position, &scratch, encoding) : nullptr;
    if (atEnd())
    {
        refuse(start, "this element has no name, or ends in it");
        return;
    }
    const Element element = {start, {nameStart, scratch.size()}};
    if (!beginElement(start, scratch))
        return;
    const bool empty = parseTag(element);
    if (refused)
        return;
    completeTag();
    if (empty)
        endElement();
    else
        open.push_back(element);
}

/// True if the element ends with its tag.
bool ElementWalk::parseTag(const Element& element)
{
    names.clear();
    for (skipSpace(); !atEnd() && *position != '/' && *position != '>'; skipSpace())
        if (!parseAttribute())
            return false;
    if (atEnd())
        return refuse(element.start, "the tag <", element.name, " does not end");
    const bool empty = *position == '/';
    if (empty && position[1] != '>')
        return refuse(position, "'/' without '>'");
    position += empty ? 2 : 1;
    return empty;
}

bool ElementWalk::parseAttribute()
{
    const char* const start = position;
    position = parsedAttribute.Parse(start, nullptr, encoding);
    const std::string& name = parsedAttribute.NameTStr();
    if (atEnd())
        return refuse(start, "'", wordAt(start), "' is no attribute with a value in quotes");
    if (!names.add({start, name.size()}))
        return refuse(start, "the attribute '", name, "' stands there twice");
    handleAttribute(start, name, parsedAttribute.ValueStr());
    return true;
}

void ElementWalk::parseEndTag()
{
    const char* const start = position;
    const std::string_view name = open.back().name;
    position += 2;
    if (strncmp(position, name.data(), name.size()) == 0)
    {
        position += name.size();
        skipSpace();
        if (!atEnd() && *position == '>')
        {
            ++position;
            open.pop_back();
            endElement();
            return;
        }
    }
    refuse(start, "</", name, "> is missing here");
}

void ElementWalk::Names::clear()
{
    few.clear();
    many.clear();
}

bool ElementWalk::Names::add(std::string_view name)
{
    if (!many.empty())
        return many.insert(name).second;
    if (std::find(few.begin(), few.end(), name) != few.end())
        return false;
    few.push_back(name);
    if (few.size() > maxUnindexedNames)
        many.insert(few.begin(), few.end());
    return true;
}
