#include "simulator/CommandWords.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

#include "simulator/Words.h"

namespace
{

std::vector<int64_t> parseCardIds(const std::string& text)
{
    std::vector<int64_t> ids;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ',');)
        ids.push_back(parseCardId(part));
    return ids;
}

/// A name that nothing has would be a fault that never comes.
const std::string& parseName(const std::string& text, const std::vector<std::string>& names, char separator)
{
    if (std::find(names.begin(), names.end(), text.substr(0, text.find(separator))) == names.end())
        throw CommandError("unknown name " + text);
    return text;
}

}

int64_t parseCardId(const std::string& text) { return parseNumber<int64_t>(text, "a card id"); }

std::string parseRecordId(const std::string& text) { return text == "api" ? text : std::to_string(parseCardId(text)); }

std::chrono::nanoseconds parseTime(std::string_view text)
{
    constexpr std::pair<std::string_view, std::chrono::nanoseconds> units[] = {
        {"us", std::chrono::microseconds(1)}, {"ms", std::chrono::milliseconds(1)}, {"s", std::chrono::seconds(1)}};
    for (const auto& [suffix, unit] : units)
        if (text.ends_with(suffix))
            return parseNumber<uint32_t>(text.substr(0, text.size() - suffix.size()), "a time") * unit;
    throw CommandError("a time ends in us, ms or s: " + std::string(text));
}

GroupPlace parseGroupPlace(const Words& words)
{
    GroupPlace place;
    for (auto word = words.begin() + 2; word != words.end(); ++word)
    {
        const size_t equals = word->find('=');
        const std::string name = word->substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : word->substr(equals + 1);
        const std::pair<std::string_view, int64_t*> numbers[] = {
            {"group", &place.group}, {"of", &place.of}, {"order", &place.order}, {"peer", &place.peer}};
        const auto* known =
            std::find_if(std::begin(numbers), std::end(numbers), [&](const auto& row) { return row.first == name; });
        if (known != std::end(numbers))
            *known->second = parseNumber<int64_t>(value, "a number");
        else if (name == "peers")
            place.peers = parseCardIds(value);
        else
            throw CommandError("no place in a group: " + *word);
    }
    return place;
}

const std::string& parseCall(const std::string& text) { return parseName(text, callNames, ':'); }

const std::string& parseInterface(const std::string& text)
{
    const size_t at = text.find('@');
    if (at != std::string::npos && text.substr(at) != "@configuration")
        throw CommandError("unknown name " + text);
    return parseName(text, interfaceNames, '@');
}
