#pragma once

#include "tests/DaemonTest.h"

inline const std::string preferencePath = "/etc/quillstone/QuillstonePreferences.xml";

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

    ~ControlTest() override { std::filesystem::remove_all("/etc/quillstone"); }

    /// One that goes on beside the test; what it says so far is contents(stage / "output") and controlErrors(). It is
    /// started by other programs if their words are given.
    Child startControl(const Lines& words, Lines starter = {})
    {
        starter.push_back(program);
        starter.insert(starter.end(), words.begin(), words.end());
        return Child(starter, stage / "control-errors", environment, stage / "output");
    }

    std::string program = CONTROL_BINARY;

    std::string controlErrors() const { return contents(stage / "control-errors"); }

    Outcome control(const Lines& words) { return controlBy({}, words); }

    Outcome controlBy(const Lines& starter, const Lines& words)
    {
        const int status = startControl(words, starter).wait();
        EXPECT_EQ(controlErrors().find("Sanitizer"), std::string::npos) << controlErrors();
        return {status, contents(stage / "output"), controlErrors()};
    }

    /// The daemon, once it listens.
    Child runDaemon()
    {
        Child daemon = run({"-n"});
        EXPECT_EQ(syslog.take(1), Lines{listeningLine});
        return daemon;
    }

    static void writePreferences(const std::string& elements)
    {
        std::filesystem::create_directories("/etc/quillstone");
        std::ofstream(preferencePath) << "<QuillstonePreferences>" << elements << "</QuillstonePreferences>";
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
};
