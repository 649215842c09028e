#pragma once

#include <cstddef>
#include <string>

/// As UTF-8, for JSON and terminals: the file says ISO-8859-1 and holds what programs put into it, so bytes that are no
/// UTF-8 as a whole are taken for ISO-8859-1.
std::string utf8Of(const std::string& bytes);

/// For a terminal: what would steer it, or turn the direction of the text, is written as an escape, such as \n or \x1B.
std::string visible(const std::string& bytes);

/// How many characters a visible text has.
size_t widthOf(const std::string& visibleText);

/// "1 card", "2 cards".
std::string counted(size_t count, const std::string& thing);

/// As one word of a shell's command, in quotes where it takes any.
std::string shellWord(const std::string& text);

/// A line with a caret in a line of its own under the column, which counts bytes from 1. Both begin with `margin`. Of a
/// long line only what stands around the place.
std::string excerpt(const std::string& line, size_t column, const std::string& margin);
