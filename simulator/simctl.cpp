#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "simulator/SteeringClient.h"
#include "simulator/Words.h"

namespace
{

constexpr int refused = 1;
constexpr int unreachable = 2;
constexpr const char* socketVariable = "TESSARIG_SIMULATOR_SOCKET";

/// What stands in an argument's place, one in a line.
std::string choicesOf(const Argument& argument)
{
    std::string choices;
    for (const std::string& choice : argument.choices)
        choices += "\n  " + choice;
    return choices;
}

void addWords(CLI::App& app)
{
    for (const Word& word : allWords)
    {
        CLI::App* command = app.add_subcommand(word.name, word.description);
        std::string footer;
        for (const Argument& argument : word.arguments)
        {
            CLI::Option* option = command->add_option(argument.name)->description(argument.description);
            option->required(argument.minCount > 0);
            if (argument.maxCount > 1)
                option->expected(1, static_cast<int>(argument.maxCount))->allow_extra_args();
            if (argument.choices.size() > 1)
                footer += std::string(argument.name) + " is one of" + choicesOf(argument) + "\n";
        }
        command->footer(footer);
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

/// Prints what may stand behind these words.
void complete(const std::vector<std::string>& said)
{
    if (said.empty())
    {
        puts("--help");
        for (const Word& word : allWords)
            puts(word.name);
        return;
    }
    const Word* word = findWord(said[0]);
    if (!word || word->arguments.empty())
        return;
    const size_t last = word->arguments.size() - 1;
    const Argument& argument = word->arguments[std::min(said.size() - 1, last)];
    if (said.size() - 1 > last && argument.maxCount == 1)
        return;
    puts(choicesOf(argument).c_str());
    if (const char* path = getenv(socketVariable); path && argument.cards)
        if (const std::string answer = SteeringClient(path).ask("list"); answer.starts_with("ok"))
            puts(answer.c_str() + strlen("ok"));
}

/// Says one command, or, without words, each line of standard input. The status is that of the worst answer.
int steer(int argc, char** argv)
{
    if (argc > 1 && argv[1] == std::string_view("--complete")) // the shell asks
    {
        complete({argv + 2, argv + argc});
        return 0;
    }
    CLI::App app("Steers the simulated cards of a daemon. Without a word it takes lines of words from its input.",
                 "simctl");
    app.footer(
        std::string("simctl WORD --help tells a word's arguments. Faults may be told before the card is there.\n") +
        "The environment variable " + socketVariable + " says where the daemon's socket is.");
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
