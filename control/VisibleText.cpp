#include "control/VisibleText.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <boost/locale/utf.hpp>

namespace
{

namespace utf = boost::locale::utf;
using Utf8 = utf::utf_traits<char>;

constexpr size_t shownBefore = 48; ///< Bytes of a line around the place.
constexpr size_t shownAfter = 24;

bool isUtf8(const std::string& bytes)
{
    for (auto at = bytes.begin(); at != bytes.end();)
        if (!utf::is_valid_codepoint(Utf8::decode(at, bytes.end())))
            return false;
    return true;
}

/// What a terminal acts on instead of showing it: control characters, line ends, and marks of direction.
bool steers(utf::code_point character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C || character == 0x200E ||
           character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string escapeOf(utf::code_point character)
{
    if (character == '\n')
        return "\\n";
    if (character == '\t')
        return "\\t";
    if (character == '\r')
        return "\\r";
    char text[16];
    snprintf(text, sizeof text, character > 0xFF ? "\\u%04X" : "\\x%02X", character);
    return text;
}

bool continues(char byte) { return (byte & 0xC0) == 0x80; }

/// Not inside a character, if it is UTF-8.
size_t boundary(const std::string& line, size_t at)
{
    for (int step = 0; step < 3 && at < line.size() && continues(line[at]); ++step)
        ++at;
    return at;
}

}

std::string utf8Of(const std::string& bytes)
{
    if (isUtf8(bytes))
        return bytes;
    std::string text;
    for (const char byte : bytes)
        Utf8::encode(static_cast<unsigned char>(byte), std::back_inserter(text));
    return text;
}

std::string visible(const std::string& bytes)
{
    const std::string text = utf8Of(bytes);
    std::string result;
    for (auto at = text.begin(); at != text.end();)
    {
        const utf::code_point character = Utf8::decode(at, text.end());
        if (steers(character))
            result += escapeOf(character);
        else
            Utf8::encode(character, std::back_inserter(result));
    }
    return result;
}

size_t widthOf(const std::string& visibleText)
{
    return static_cast<size_t>(
        std::count_if(visibleText.begin(), visibleText.end(), [](char byte) { return !continues(byte); }));
}

std::string counted(size_t count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string shellWord(const std::string& text)
{
    const auto isPlain = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || strchr("./~_-", c); };
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain))
        return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? "'\\''" : std::string(1, c);
    return word + "'";
}

std::string excerpt(const std::string& line, size_t column, const std::string& margin)
{
    std::string flat = line;
    std::replace(flat.begin(), flat.end(), '\t', ' ');
    const size_t place = std::min(column ? column - 1 : 0, flat.size());
    const size_t first = place > shownBefore ? boundary(flat, place - shownBefore) : 0;
    const size_t last = boundary(flat, std::min(place + shownAfter, flat.size()));
    const std::string before = (first > 0 ? "..." : "") + visible(flat.substr(first, place - first));
    const std::string after = visible(flat.substr(place, last - place)) + (last < flat.size() ? "..." : "");
    return margin + before + after + "\n" + margin + std::string(widthOf(before), ' ') + "^";
}
