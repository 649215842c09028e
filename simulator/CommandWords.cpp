#include "simulator/CommandWords.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

namespace
{

std::vector<int64_t> cardIds(const std::string& text)
{
    std::vector<int64_t> ids;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ',');)
        ids.push_back(cardId(part));
    return ids;
}

/// A name that nothing has would be a fault that never comes.
const std::string& knownName(const std::string& text, const char* const* names, char separator)
{
    const std::string name = text.substr(0, text.find(separator));
    for (; *names; ++names)
        if (name == *names)
            return text;
    throw CommandError("unknown name " + text);
}

}

int64_t cardId(const std::string& text) { return number<int64_t>(text, "a card id"); }

std::string recordId(const std::string& text) { return text == "api" ? text : std::to_string(cardId(text)); }

std::chrono::nanoseconds duration(std::string_view text)
{
    constexpr std::pair<std::string_view, std::chrono::nanoseconds> units[] = {
        {"us", std::chrono::microseconds(1)}, {"ms", std::chrono::milliseconds(1)}, {"s", std::chrono::seconds(1)}};
    for (const auto& [suffix, unit] : units)
        if (text.ends_with(suffix))
            return number<uint32_t>(text.substr(0, text.size() - suffix.size()), "a time") * unit;
    throw CommandError("a time ends in us, ms or s: " + std::string(text));
}

GroupPlace groupPlace(const Words& words)
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
            *known->second = number<int64_t>(value, "a number");
        else if (name == "peers")
            place.peers = cardIds(value);
        else
            throw CommandError("a place in a group is told by group, of, order, peer and peers: " + *word);
    }
    return place;
}

const std::string& callName(const std::string& text)
{
    static constexpr const char* calls[] = {"CreateTessarigAPIInformationInstance",
                                            "CreateTessarigDiscoveryInstance",
                                            "InstallDeviceNotifications",
                                            "QueryInterface",
                                            "GetInt",
                                            "HandleHardwareNotification",
                                            "HandleHardwareNotificationEx",
                                            "HardwareNotificationHandled",
                                            "PersistState",
                                            "PrepareDevice",
                                            "PrepareGroup",
                                            "Subscribe",
                                            "Unsubscribe",
                                            "Post",
                                            "GetDevice",
                                            "GetPeerIterator",
                                            "Next",
                                            nullptr};
    return knownName(text, calls, ':');
}

const std::string& interfaceName(const std::string& text)
{
    static constexpr const char* interfaces[] = {
        "ITessarigAttributes",       "ITessarigHardwareState", "ITessarigConfiguration", "ITessarigNotification",
        "ITessarigTopicBroadcaster", "ITessarigGroupedDevice", "ITessarigPeerDevice",    nullptr};
    const size_t at = text.find('@');
    if (at != std::string::npos && text.substr(at) != "@configuration")
        throw CommandError("unknown name " + text);
    return knownName(text, interfaces, '@');
}
