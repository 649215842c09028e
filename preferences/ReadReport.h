#pragma once

#include <cstddef>
#include <string>
#include <vector>

inline namespace ostrivane
{

/// A place in a text. Lines and columns count from 1, columns in bytes. A carriage return with or without a line feed
/// ends a line, as a line feed does. Both are 0 where no place applies.
struct TextPlace
{
    size_t line = 0;
    size_t column = 0;

    bool operator==(const TextPlace&) const = default;
};

/// A kind of thing in a preference file that is passed over, so that writing the table loses it.
enum class Loss
{
    Comment,
    Text,           ///< Text between elements, or a CDATA section. The name is its first word.
    Markup,         ///< A processing instruction, a DOCTYPE, or another declaration than the first.
    Encoding,       ///< A byte order mark, or a declared encoding that the written file will not name.
    Element,        ///< An element where none is looked for, with all that is in it.
    ElementName,    ///< An entry that is neither a card nor a group: it is read as a card.
    Attribute,      ///< An attribute that is not looked for.
    EntryWithoutId, ///< With all that is in it.
    EntryWithoutSettings,
    IncompleteSetting, ///< An `attribute` without a name or a value.
    DoubledKey,        ///< A card or group that stood there before: the two become one.
    DoubledSetting,    ///< The second value of a setting, which takes the place of the first.
    Rest               ///< All that follows: text behind the last element, or a NUL byte, ends the parsing.
};

/// One thing that was passed over.
struct PassedOver
{
    Loss kind;
    TextPlace place;  ///< Where it begins.
    std::string name; ///< Short, and as it stands in the text: an element's, attribute's, key's or setting's name.
};

/// Tells of one preference file why it was refused, or what was passed over.
struct ReadReport
{
    bool refused = false;
    /// Why, in a few words without a full stop. For a file that can't be opened or read, the text of errno.
    std::string reason;
    TextPlace place;                    ///< Of what the reason names: 0 and 0 if the file as a whole is meant.
    std::string line;                   ///< The refused line, without its end; empty without a place.
    std::vector<PassedOver> passedOver; ///< In the order of the text. Empty if the file is refused.
};

/// A kind in words, such as "comment" or "entry without an id".
const char* nameOf(Loss kind);

}
