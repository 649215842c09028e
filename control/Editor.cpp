#include "control/Editor.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "control/CommandError.h"
#include "control/VisibleText.h"

namespace
{

/// They begin at a line that is told as +LINE; so does whatever sensible-editor starts.
constexpr std::string_view takeLine[] = {"sensible-editor", "editor", "vi",  "vim",   "nvim",       "view", "nano",
                                         "emacs",           "pico",   "joe", "jed",   "mg",         "ne",   "kak",
                                         "micro",           "mcedit", "nvi", "elvis", "emacsclient"};

constexpr const char* leaf = "/QuillstonePreferences.xml";

std::string madeFolder()
{
    std::error_code error;
    std::filesystem::path parent = std::filesystem::temp_directory_path(error);
    if (error) // $TMPDIR is no folder
        parent = "/tmp";
    std::string name = (std::filesystem::absolute(parent, error) / "ostrivanectl-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw systemError("no place for a copy to edit, " + name);
    return name;
}

/// Of the copy that there is.
std::atomic<const std::string*> lastWords = nullptr;

/// Ends the process as the signal would have, once the handler returns.
void tellAndEnd(int signal)
{
    if (const std::string* words = lastWords)
        static_cast<void>(!write(STDERR_FILENO, words->data(), words->size()));
    raise(signal);
}

void catchSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = tellAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

/// As the shell has it: it may be several words.
std::string editorOf()
{
    for (const char* variable : {"VISUAL", "EDITOR"})
        if (const char* editor = getenv(variable); editor && *editor)
            return editor;
    return "sensible-editor";
}

bool takesLine(const std::string& editor)
{
    const std::string program = std::filesystem::path(editor.substr(0, editor.find(' '))).filename().string();
    return std::find(std::begin(takeLine), std::end(takeLine), program) != std::end(takeLine);
}

}

EditedCopy::EditedCopy(const std::string& text)
    : folder(madeFolder()), path(folder + leaf), notice("\nostrivanectl: your copy is " + path + "\n")
{
    lastWords = &notice;
    catchSignals();
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
    {
        remove();
        throw CommandError("the copy to edit, " + path + ", can't be written");
    }
    static_cast<void>(chmod(path.c_str(), 0600)); // the folder is private in any case
}

EditedCopy::~EditedCopy() { lastWords = nullptr; }

void EditedCopy::openInEditor(size_t line) const
{
    const std::string editor = editorOf();
    const std::string place = line > 0 && takesLine(editor) ? " +" + std::to_string(line) : "";
    const int status = system((editor + place + " " + shellWord(path)).c_str());
    if (status == -1)
        throw systemError("the editor '" + editor + "' can't be started");
    if (WIFSIGNALED(status))
        throw CommandError("the editor was ended by signal " + std::to_string(WTERMSIG(status)));
    if (WEXITSTATUS(status) != 0)
        throw CommandError("the editor '" + editor + "' ended with status " + std::to_string(WEXITSTATUS(status)));
}

void EditedCopy::remove() const
{
    lastWords = nullptr;
    std::error_code left; // a private folder in the place for such
    std::filesystem::remove_all(folder, left);
}
