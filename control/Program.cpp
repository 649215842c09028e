#include "control/Program.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string_view>

#include "control/CommandError.h"
#include "control/Commands.h"
#include "control/VisibleText.h"

namespace
{

constexpr int usageError = 2;

/// Help is asked for and goes to stdout with status 0; what else the parser throws is a mistake of the user's.
int explain(const CLI::App& program, const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
        return program.exit(error);
    const std::vector<std::string> unknown = program.remaining();
    std::string message = error.what();
    const std::vector<CLI::App*> commands = program.get_subcommands();
    if (commands.empty())
        message = unknown.empty()
                      ? "a command is missing"
                      : (unknown.front().starts_with('-') ? "there is no option '" : "there is no command '") +
                            visible(unknown.front()) + "'";
    std::cerr << "ostrivanectl: " << message << "\nTry 'ostrivanectl "
              << (commands.empty() ? "" : commands.front()->get_name() + " ") << "--help'.\n";
    return usageError;
}

/// A write beyond the limit of a file's size fails, and so can be told. By a handler, as what `lock` and `edit` run has
/// the signal as it was then.
void surviveSizeLimit()
{
    if (signal(SIGXFSZ, [](int) {}) == SIG_IGN)
        signal(SIGXFSZ, SIG_IGN);
}

/// What `lock` runs stands behind "--" and is none of the parser's business: cuts it off and gives its words.
char** cutCommand(int& argc, char** argv)
{
    char** const end = argv + argc;
    char** const mark = std::find(argv, end, std::string_view("--"));
    if (argc < 2 || argv[1] != std::string_view("lock") || mark == end)
        return end;
    argc = static_cast<int>(mark - argv);
    return mark + 1;
}

}

int runProgram(int argc, char** argv)
{
    char** const command = cutCommand(argc, argv);
    surviveSizeLimit();
    CLI::App program("Shows what OstrivaneHelper does, and changes saved settings while it runs.", "ostrivanectl");
    program.require_subcommand(1);
    int status = 0;
    addStatus(program, status);
    addWatch(program, status);
    addLock(program, status, command);
    addList(program, status);
    addGet(program, status);
    addCheck(program, status);
    addSet(program, status);
    addUnset(program, status);
    addImport(program, status);
    addEdit(program, status);
    try
    {
        program.parse(argc, argv);
        if (!std::cout.flush())
            throw CommandError("the output can't be written");
        return status;
    }
    catch (const CLI::ParseError& error)
    {
        return explain(program, error);
    }
    catch (const CommandError& error)
    {
        std::cerr << "ostrivanectl: " << error.what() << '\n';
        return error.status;
    }
    catch (const std::exception& error) // no memory
    {
        std::cerr << "ostrivanectl: " << error.what() << '\n';
        return 1;
    }
}
