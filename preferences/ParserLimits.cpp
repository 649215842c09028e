#include "preferences/ParserLimits.h"

#include <strings.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>

#include <tinyxml.h>

namespace
{

constexpr int deepest = 64;
constexpr int mostAttributes = 64;

/// A walk over one text. Each step moves on as the parser would. Where the parser would give up, so does the walk: the
/// parser refuses that text by itself.
class Walk
{
public:
    explicit Walk(const std::string& text) : position(text.c_str())
    {
        if (startsWith("\xEF\xBB\xBF"))
            encoding = TIXML_ENCODING_UTF8;
    }

    bool fits()
    {
        while (!over() && !tooMuch)
        {
            skipSpace();
            if (*position == '<')
                markup();
            else if (depth > 0)
                skipText('<');
            else
                break; // whatever follows the last element ends the parsing
        }
        return !tooMuch;
    }

private:
    bool over() const { return !position || !*position; }

    void giveUp() { position = nullptr; }

    bool startsWith(const char* word) const { return strncmp(position, word, strlen(word)) == 0; }

    /// What a byte can be, looked up: a question of the C library for each byte would be most of the walk.
    enum Kind : uint8_t
    {
        Space = 1,
        NameStart = 2,
        InName = 4,
        Plain = 8 ///< In a text it stands for itself, whatever the encoding.
    };

    static std::array<uint8_t, 256> kindsOfBytes()
    {
        std::array<uint8_t, 256> kinds = {};
        for (int byte = 1; byte < 256; ++byte)
        {
            const bool nameStart = byte >= 127 || isalpha(byte) || byte == '_';
            const bool inName = nameStart || isdigit(byte) || strchr("-.:", byte);
            const bool plain = byte < 127 && byte != '&';
            kinds[static_cast<size_t>(byte)] =
                static_cast<uint8_t>((isspace(byte) ? Space : 0) | (nameStart ? NameStart : 0) | (inName ? InName : 0) |
                                     (plain ? Plain : 0));
        }
        return kinds;
    }

    bool is(Kind kind, char byte) const { return kinds[static_cast<unsigned char>(byte)] & kind; }
    bool isSpace(char byte) const { return is(Space, byte); }
    bool isNameStart(char byte) const { return is(NameStart, byte); }

    /// In UTF-8 the marks that may begin a file count as space anywhere.
    bool atMark() const
    {
        return encoding == TIXML_ENCODING_UTF8 &&
               (startsWith("\xEF\xBB\xBF") || startsWith("\xEF\xBF\xBE") || startsWith("\xEF\xBF\xBF"));
    }

    void skipSpace()
    {
        while (isSpace(*position) || atMark())
            position += isSpace(*position) ? 1 : 3;
    }

    /// Moves over one character. In UTF-8 a lead byte takes those that should follow with it, whatever they are: they
    /// may be quotes or brackets.
    void skipCharacter()
    {
        if (startsWith("&#") && position[2])
            return skipReference(position[2] == 'x');
        const auto byte = static_cast<unsigned char>(*position);
        int length = 1;
        if (encoding == TIXML_ENCODING_UTF8 && byte >= 0xC2 && byte <= 0xF4)
            length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
        for (; length > 0 && *position; --length)
            ++position;
    }

    /// The parser takes a reference from its end: back from the next semicolon to the nearest mark. So whatever stands
    /// between the reference's own mark and that one is skipped, be it quotes or brackets.
    void skipReference(bool hexadecimal)
    {
        const char mark = hexadecimal ? 'x' : '#';
        const char* end = strchr(position + (hexadecimal ? 3 : 2), ';');
        if (!end)
            return giveUp();
        for (const char* digit = end - 1; *digit != mark; --digit)
            if (!(hexadecimal ? isxdigit(static_cast<unsigned char>(*digit))
                              : isdigit(static_cast<unsigned char>(*digit))))
                return giveUp();
        position = end + 1;
    }

    void skipText(char end)
    {
        while (!over() && *position != end)
            if (is(Plain, *position))
                ++position;
            else
                skipCharacter();
    }

    /// Moves behind the next occurrence of the word.
    void skipBehind(const char* word)
    {
        position = strstr(position, word);
        if (position)
            position += strlen(word);
    }

    void markup()
    {
        if (depth > 0 && startsWith("</"))
        {
            --depth;
            skipBehind(">");
        }
        else if (strncasecmp(position, "<?xml", 5) == 0)
            declaration();
        else if (startsWith("<!--"))
        {
            position += 4;
            skipBehind("-->");
        }
        else if (startsWith("<![CDATA["))
        {
            position += 9;
            skipBehind("]]>");
        }
        else if (!startsWith("<!") && isNameStart(position[1]))
            element();
        else
            skipBehind(">");
    }

    /// Has the parser read it, as its encoding decides on how the rest is read, and may be written with entities.
    void declaration()
    {
        TiXmlDeclaration read;
        position = read.Parse(position, nullptr, encoding);
        if (depth > 0 || encoding != TIXML_ENCODING_UNKNOWN)
            return;
        const char* name = read.Encoding();
        const bool utf8 = !*name || strncasecmp(name, "UTF-8", 5) == 0 || strncasecmp(name, "UTF8", 4) == 0;
        encoding = utf8 ? TIXML_ENCODING_UTF8 : TIXML_ENCODING_LEGACY;
    }

    void element()
    {
        ++position;
        skipSpace();
        skipName();
        for (int attributes = 0; !over(); ++attributes)
        {
            skipSpace();
            if (*position == '/')
                return position[1] == '>' ? static_cast<void>(position += 2) : giveUp();
            if (*position == '>')
            {
                ++position;
                tooMuch = ++depth > deepest;
                return;
            }
            if (attributes == mostAttributes)
            {
                tooMuch = true;
                return;
            }
            attribute();
        }
    }

    void skipName()
    {
        if (!isNameStart(*position))
            return giveUp();
        while (is(InName, *position))
            ++position;
    }

    void attribute()
    {
        skipName();
        if (over())
            return;
        skipSpace();
        if (*position != '=')
            return giveUp();
        ++position;
        skipSpace();
        const char quote = *position;
        if (quote == '"' || quote == '\'')
        {
            ++position;
            skipText(quote);
            if (!over())
                ++position;
            return;
        }
        while (*position && !isSpace(*position) && *position != '/' && *position != '>')
        {
            if (*position == '"' || *position == '\'')
                return giveUp();
            ++position;
        }
    }

    const std::array<uint8_t, 256> kinds = kindsOfBytes();
    const char* position;
    TiXmlEncoding encoding = TIXML_ENCODING_UNKNOWN;
    int depth = 0;
    bool tooMuch = false;
};

}

bool fitsParser(const std::string& text) { return Walk(text).fits(); }
