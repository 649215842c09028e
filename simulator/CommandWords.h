#pragma once

#include <charconv>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "simulator/SimulatedCard.h"

// Parses the words of a command. Each function throws CommandError for a word that makes no sense.

using Words = std::vector<std::string>;

/// Becomes the answer "error …".
struct CommandError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// Decimal, or hexadecimal behind 0x. `what` says in the error what was wanted.
template <typename Number>
Number parseNumber(std::string_view text, const char* what)
{
    Number value{};
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal)
        text.remove_prefix(2);
    const auto [end, error] = std::from_chars(text.begin(), text.end(), value, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.end())
        throw CommandError(std::string("not ") + what + ": " + std::string(text));
    return value;
}

int64_t parseCardId(const std::string& text);

/// The library's own objects go under the id "api", next to the cards.
std::string parseRecordId(const std::string& text);

/// A number and us, ms or s.
std::chrono::nanoseconds parseTime(std::string_view text);

/// Of the words from the third on.
GroupPlace parseGroupPlace(const Words& words);

/// The text itself: an operation, or operation:argument.
const std::string& parseCall(const std::string& text);

/// The text itself: an interface, or interface@configuration.
const std::string& parseInterface(const std::string& text);
