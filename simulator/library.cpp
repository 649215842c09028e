#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "preferences/Owner.h"
#include "simulator/Commands.h"
#include "simulator/Simulator.h"
#include "simulator/SteeringSocket.h"

// The symbols that make this a device library, and how a process that has opened it is steered: by environment
// variables, read when the first factory is called and, for the report, when the process ends.

namespace
{

/// Lives from the first factory call to the end of the process.
class Steering
{
public:
    Steering()
    {
        // Some faults have to be there before anybody could connect.
        if (const char* commands = getenv("TESSARIG_SIMULATOR_COMMANDS"))
        {
            std::istringstream lines(commands);
            for (std::string line; std::getline(lines, line, ';');)
                if (const std::string answer = execute(simulator, line); !answer.starts_with("ok"))
                    fprintf(stderr, "simulator: %s\n", answer.c_str());
        }
        if (const char* path = getenv("TESSARIG_SIMULATOR_SOCKET"))
            socket = std::make_unique<SteeringSocket>(simulator, path);
    }

    /// What the process that goes still holds is told in a file, as nobody can ask any more.
    ~Steering()
    {
        socket.reset();
        const char* path = getenv("TESSARIG_SIMULATOR_REPORT");
        const Stream file(path ? fopen(path, "w") : nullptr);
        if (file)
            fprintf(file.get(), "%s\n", execute(simulator, "references").c_str());
    }

private:
    Simulator& simulator = Simulator::instance();
    std::unique_ptr<SteeringSocket> socket;
};

Simulator& steered()
{
    static Steering steering;
    return Simulator::instance();
}

}

extern "C"
{
    ITessarigAPIInformation* CreateTessarigAPIInformationInstance_0001() { return steered().createInformation(); }
    ITessarigDiscovery* CreateTessarigDiscoveryInstance_0003() { return steered().createDiscovery(); }

    // Objects of these kinds are not simulated.
    IUnknown* CreateTessarigIteratorInstance_0004() { return nullptr; }
    IUnknown* CreateVideoConversionInstance_0003() { return nullptr; }
    IUnknown* CreateVideoFrameAncillaryPacketsInstance_0002() { return nullptr; }
}
