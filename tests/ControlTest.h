#pragma once

#include "tests/DaemonTest.h"

/// The real control program beside the real daemon, which a test starts if it wants one.
class ControlTest : public DaemonTest
{
protected:
    /// What a run of the program came to.
    struct Outcome
    {
        int status; ///< -1 if a signal ended it.
        std::string output;
        std::string errors;

        bool operator==(const Outcome&) const = default;
        friend void PrintTo(const Outcome& outcome, std::ostream* stream)
        {
            *stream << "status " << outcome.status << "\n" << outcome.output << "--- stderr\n" << outcome.errors;
        }
    };

    /// One that goes on beside the test; what it says so far is contents(stage / "output") and controlErrors(). It is
    /// started by other programs if their words are given.
    Child startControl(const Lines& words, Lines starter = {})
    {
        starter.push_back(program);
        starter.insert(starter.end(), words.begin(), words.end());
        return Child(starter, stage / "control-errors", environment, stage / "output");
    }

    std::string controlErrors() const { return contents(stage / "control-errors"); }

    /// With what a shell makes of the words.
    Outcome controlInShell(const std::string& words) { return control({}, {"/bin/sh", "-c", "exec \"$0\" " + words}); }

    Outcome control(const Lines& words, const Lines& starter = {})
    {
        const int status = startControl(words, starter).wait();
        EXPECT_EQ(controlErrors().find("Sanitizer"), std::string::npos) << controlErrors();
        return {status, contents(stage / "output"), controlErrors()};
    }

    /// The line of `status` on a subject, with its mark.
    std::string statusOf(const std::string& subject)
    {
        std::istringstream lines(control({"status"}).output);
        for (std::string line; std::getline(lines, line);)
            if (line.find(subject) == 2)
                return line;
        return "no line on " + subject;
    }

    /// Key, name and value of each setting, as `list` has them.
    std::string listed() { return control({"list"}).output; }

    static std::string card(const std::string& id, const std::string& attributes)
    {
        return "<card id=\"" + id + "\">" + attributes + "</card>";
    }

    static std::string attribute(const std::string& name, const std::string& value)
    {
        return "<attribute name=\"" + name + "\" value=\"" + value + "\"/>";
    }

    static void expectIn(const std::string& part, const std::string& text)
    {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nis not in\n" << text;
    }

    std::string program = CONTROL_BINARY;
};
