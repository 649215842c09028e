#pragma once

#include <fcntl.h>

#include <gtest/gtest.h>

#include "simulator/SteeringClient.h"
#include "testing/Child.h"
#include "testing/PrivateMachine.h"
#include "testing/SyslogCollector.h"
#include "testing/TemporaryFolder.h"
#include "testing/Waiting.h"

inline const std::string listeningLine = "6 Listening for Ostrivane settings changes\n";
inline const std::string stoppedLine = "6 Stopped listening for Ostrivane settings changes\n";
inline const std::string preferencePath = "/etc/quillstone/QuillstonePreferences.xml";

/// The real daemon in a folder of its own, with the simulated library beside it unless a test takes it away. Leaves no
/// preferences, and no segment of a daemon that was killed.
class DaemonTest : public testing::Test
{
protected:
    ~DaemonTest() override
    {
        for (const char* left : {"/etc/quillstone", segmentPath})
            std::filesystem::remove_all(left);
    }

    Child run(Lines options)
    {
        options.insert(options.begin(), stage / "OstrivaneHelper");
        return Child(options, stage / "errors", environment);
    }

    /// The daemon in the foreground, once it listens.
    Child runDaemon(const Lines& options = {"-n"})
    {
        Child daemon = run(options);
        EXPECT_EQ(syslog.take(1), Lines{listeningLine});
        return daemon;
    }

    static void writePreferences(const std::string& elements)
    {
        std::filesystem::create_directories("/etc/quillstone");
        std::ofstream(preferencePath) << "<QuillstonePreferences>" << elements << "</QuillstonePreferences>";
    }

    std::string say(const std::string& line) const { return SteeringClient(stage / "socket").ask(line); }

    /// Plugs it and waits until its listener is ready.
    void plug(const std::string& id) const
    {
        EXPECT_EQ(say("plug " + id), "ok");
        ASSERT_TRUE(waitFor([&] { return say("calls " + id).ends_with("Subscribe setd"); }));
    }

    std::string errors() const { return contents(stage / "errors"); }

    const TemporaryFolder stage{{DAEMON_BINARY, SIMULATOR_LIBRARY}};
    SyslogCollector syslog;
    Child::Environment environment = {{"TESSARIG_SIMULATOR_SOCKET", stage / "socket"},
                                      {"TESSARIG_SIMULATOR_REPORT", stage / "report"}};
};
