#include "simulator/Commands.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>

#include "simulator/CommandWords.h"
#include "simulator/Simulator.h"
#include "simulator/Words.h"

namespace
{

Simulator::Card cardOf(const Simulator& simulator, const std::string& text)
{
    Simulator::Card card = simulator.find(parseCardId(text));
    if (!card)
        throw CommandError("no card " + text);
    return card;
}

/// With any word on its place in a group the card is a group's member.
std::string plug(Simulator& simulator, const Words& words)
{
    const int64_t id = parseCardId(words[1]);
    const auto place = words.size() > 2 ? std::optional(parseGroupPlace(words)) : std::nullopt;
    if (!simulator.plug(id, place))
        throw CommandError("there is a card " + words[1] + " already");
    return {};
}

std::string unplug(Simulator& simulator, const Words& words)
{
    if (!simulator.unplug(parseCardId(words[1])))
        throw CommandError("no card " + words[1]);
    return {};
}

std::string change(Simulator& simulator, const Words& words)
{
    const size_t equals = words[2].find('=');
    if (equals == std::string::npos || equals == 0)
        throw CommandError("a change is NAME=VALUE: " + words[2]);
    cardOf(simulator, words[1])->change(words[2].substr(0, equals), words[2].substr(equals + 1));
    return {};
}

std::string hardware(Simulator& simulator, const Words& words)
{
    const Simulator::Card card = cardOf(simulator, words[1]);
    const auto value = static_cast<int64_t>(parseNumber<uint64_t>(words[2], "a value"));
    if (words.size() == 3)
        card->raise(Topic::hwic, value, 0);
    else
        card->raise(Topic::hwiC, value, static_cast<int64_t>(parseNumber<uint64_t>(words[3], "an extra value")));
    return {};
}

std::string fail(Simulator& simulator, const Words& words)
{
    const auto code = parseNumber<uint32_t>(words[3], "a result code");
    const std::string& call = parseCall(words[2]);
    const auto times = words.size() > 4 ? parseNumber<uint64_t>(words[4], "a number of calls") : UINT64_MAX;
    if (times == 0)
        throw CommandError("0 calls can't fail; the code 0 ends a fault");
    simulator.recordOf(parseRecordId(words[1]))->faults.fail(call, code, times);
    return {};
}

std::string slow(Simulator& simulator, const Words& words)
{
    const auto time = parseTime(words[3]);
    const std::string& call = parseCall(words[2]);
    simulator.recordOf(parseRecordId(words[1]))->faults.slow(call, time);
    return {};
}

std::string absent(Simulator& simulator, const Words& words)
{
    const std::string& interface = parseInterface(words[2]);
    simulator.recordOf(parseRecordId(words[1]))->faults.absent(interface);
    return {};
}

std::string list(Simulator& simulator, const Words&)
{
    std::string answer;
    for (const int64_t id : simulator.list())
        answer += " " + std::to_string(id);
    return answer;
}

/// Of one card, or of all there ever were in the order of the calls, each behind its card's id.
std::string calls(Simulator& simulator, const Words& words)
{
    std::vector<CallLog::Call> all;
    const bool one = words.size() > 1;
    for (const std::string& id : one ? Words{parseRecordId(words[1])} : simulator.recorded())
        for (const CallLog::Call& call : simulator.recordOf(id)->calls.history())
            all.push_back({call.time, one ? call.text : id + ":" + call.text});
    std::sort(all.begin(), all.end(), [](const auto& left, const auto& right) { return left.time < right.time; });

    std::string answer;
    for (const CallLog::Call& call : all)
        answer += (answer.empty() ? " " : "; ") + call.text;
    return answer;
}

std::string references(Simulator& simulator, const Words&)
{
    std::string answer = " " + std::to_string(simulator.ledger.total());
    for (const auto& [holder, count] : simulator.ledger.counts())
        answer += " " + holder + "=" + std::to_string(count);
    return answer;
}

using Command = std::string (*)(Simulator&, const Words&);

const std::map<std::string, Command> commands = {
    {"plug", plug}, {"unplug", unplug}, {"change", change}, {"hardware", hardware}, {"fail", fail},
    {"slow", slow}, {"absent", absent}, {"list", list},     {"calls", calls},       {"references", references},
};

void checkCount(const Word& word, size_t count)
{
    size_t minCount = 0;
    size_t maxCount = 0;
    for (const Argument& argument : word.arguments)
    {
        minCount += argument.minCount;
        maxCount += argument.maxCount;
    }
    if (count < minCount || count > maxCount)
        throw CommandError(std::string("wrong number of words for ") + word.name);
}

/// Only a change's value may hold blanks, so it takes the rest of its line.
Words split(const std::string& line)
{
    std::istringstream input(line);
    Words words;
    for (std::string word; input >> word;)
    {
        words.push_back(word);
        if (words.size() == 2 && words[0] == "change")
        {
            input >> std::ws;
            if (std::getline(input, word))
                words.push_back(word);
        }
    }
    return words;
}

}

std::string execute(Simulator& simulator, const std::string& line)
{
    try
    {
        const Words words = split(line);
        if (words.empty())
            throw CommandError("no command");
        const Word* word = findWord(words[0]);
        const auto command = commands.find(words[0]);
        if (!word || command == commands.end())
            throw CommandError("unknown command " + words[0]);
        checkCount(*word, words.size() - 1);
        return "ok" + command->second(simulator, words);
    }
    catch (const CommandError& error)
    {
        return std::string("error ") + error.what();
    }
}
