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

/// The real daemon in a folder of its own, with the simulated library beside it unless a test takes it away.
class DaemonTest : public testing::Test
{
protected:
    Child run(Lines options)
    {
        options.insert(options.begin(), stage / "OstrivaneHelper");
        return Child(options, stage / "errors", environment);
    }

    std::string say(const std::string& line) const { return SteeringClient(stage / "socket").ask(line); }

    std::string errors() const { return contents(stage / "errors"); }

    const TemporaryFolder stage{{DAEMON_BINARY, SIMULATOR_LIBRARY}};
    SyslogCollector syslog;
    Child::Environment environment = {{"TESSARIG_SIMULATOR_SOCKET", stage / "socket"},
                                      {"TESSARIG_SIMULATOR_REPORT", stage / "report"}};
};
