#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "simulator/SteeringClient.h"

namespace
{

constexpr int refused = 1;
constexpr int unreachable = 2;
constexpr const char* socketVariable = "TESSARIG_SIMULATOR_SOCKET";

struct Argument
{
    const char* name;
    const char* description;
    int most; ///< So many of it; if it is negative none is needed.
};

struct Word
{
    const char* name;
    const char* description;
    std::vector<Argument> arguments;
};

const Argument card = {"ID", "The card's number", 1};
const Argument object = {"ID", "The card's number, or api for the library's own objects", 1};
const Argument call = {"CALL", "The call's name, or with an argument as in Subscribe:setd", 1};

const Word words[] = {
    {"plug", "A card comes", {card, {"PLACE", "group=N of=N order=N peer=N peers=ID,ID: its place in a group", -5}}},
    {"unplug", "A card goes", {card}},
    {"change", "A setting of a card changes", {card, {"SETTING", "NAME=VALUE; quote a value with blanks", 1}}},
    {"hardware",
     "A card's hardware reports something",
     {card, {"VALUE", "What, as in 42 or 0x2a", 1}, {"EXTRA", "A second value", -1}}},
    {"fail",
     "A call fails from now on",
     {object, call, {"CODE", "What it answers; 0 ends that", 1}, {"TIMES", "Only so many calls fail", -1}}},
    {"slow", "A call takes longer from now on", {object, call, {"TIME", "200us, 50ms, 2s; 0s ends that", 1}}},
    {"absent", "A card does not have an interface from now on", {object, {"INTERFACE", "The interface's name", 1}}},
    {"list", "The cards that are plugged", {}},
    {"calls", "What a card, or everything, was asked", {{"ID", "Of this card alone, or of the library: api", -1}}},
    {"references", "How many references the daemon holds, and on what", {}},
};

void addWords(CLI::App& app)
{
    for (const Word& word : words)
    {
        CLI::App* command = app.add_subcommand(word.name, word.description);
        for (const Argument& argument : word.arguments)
        {
            CLI::Option* option = command->add_option(argument.name)->description(argument.description);
            option->required(argument.most > 0);
            if (argument.most < -1)
                option->expected(1, -argument.most)->allow_extra_args();
        }
    }
}

/// The line to send: the word and its arguments as they were given.
std::string lineOf(const CLI::App& command)
{
    std::string line = command.get_name();
    for (const CLI::Option* option : command.get_options([](const CLI::Option* any) { return any->get_positional(); }))
        for (const std::string& value : option->results())
            line += " " + value;
    return line;
}

int run(SteeringClient& client, const std::string& line)
{
    const std::string answer = client.ask(line);
    if (answer.empty())
    {
        fprintf(stderr, "simctl: %s\n", client.error.c_str());
        return unreachable;
    }
    puts(answer.c_str());
    return answer.starts_with("ok") ? 0 : refused;
}

int runInput(SteeringClient& client)
{
    int worst = 0;
    for (std::string line; worst != unreachable && std::getline(std::cin, line);)
        worst = std::max(worst, run(client, line));
    return worst;
}

/// Says one command, or, without words, each line of standard input. The status is that of the worst answer.
int steer(int argc, char** argv)
{
    CLI::App app("Steers the simulated cards of a daemon. Without a word it takes lines of words from its input.",
                 "simctl");
    app.footer(std::string("simctl WORD --help tells a word's arguments. The environment variable ") + socketVariable +
               "\nsays where the daemon's socket is.");
    app.require_subcommand(0, 1);
    addWords(app);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& end)
    {
        return app.exit(end) == 0 ? 0 : refused; // of the help and of words that make no sense
    }

    const auto commands = app.get_subcommands();
    const std::string line = commands.empty() ? "" : lineOf(*commands.front());
    if (line.find('\n') != std::string::npos)
    {
        fprintf(stderr, "simctl: a command is one line\n");
        return refused;
    }
    const char* path = getenv(socketVariable);
    if (!path || !*path)
    {
        fprintf(stderr, "simctl: %s is not set: it says where the daemon's socket is\n", socketVariable);
        return unreachable;
    }
    SteeringClient client(path);
    return commands.empty() ? runInput(client) : run(client, line);
}

}

int main(int argc, char** argv)
{
    try
    {
        return steer(argc, argv);
    }
    catch (...)
    {
        fputs("simctl: out of memory\n", stderr);
        return unreachable;
    }
}
