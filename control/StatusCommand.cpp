#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "control/Commands.h"
#include "control/Status.h"
#include "control/VisibleText.h"

namespace
{

constexpr size_t subjectWidth = 13;

bool isColoured() { return isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR"); }

void print(const std::vector<StatusLine>& lines)
{
    const bool coloured = isColoured();
    for (const StatusLine& line : lines)
    {
        std::string subject = line.subject;
        subject.resize(subjectWidth, ' ');
        const bool wrong = !line.advice.empty();
        std::cout << (wrong && coloured ? "\x1b[1;31m" : "") << (wrong ? "! " : "  ") << subject << visible(line.text)
                  << (wrong ? " -> " + visible(line.advice) : "") << (wrong && coloured ? "\x1b[0m" : "") << '\n';
    }
}

}

void addStatus(CLI::App& program, int& status)
{
    CLI::App* const command = program.add_subcommand(
        "status",
        "Shows the daemon, its library, the shared mutex and the file, and what is wrong. Status 1 if something is.");
    const auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json, "Print one object; the manual lists its names");
    command->callback(
        [json, &status]
        {
            const Status found = findStatus();
            const std::vector<StatusLine> lines = linesOf(found);
            if (*json)
                std::cout << jsonOf(found) << '\n';
            else
                print(lines);
            status = std::any_of(lines.begin(), lines.end(), [](const StatusLine& l) { return !l.advice.empty(); });
        });
}
