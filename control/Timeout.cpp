#include "control/Timeout.h"

#include "control/Options.h"

namespace
{

constexpr double maxSeconds = 1e6;

}

void addTimeout(CLI::App& command, std::chrono::milliseconds& timeout)
{
    const auto take = [&timeout](const double& seconds)
    {
        if (!(seconds >= 0 && seconds <= maxSeconds)) // nor is it "nan"
            throw CLI::ValidationError("--timeout", "is a number of seconds from 0 to 1000000");
        timeout = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    };
    refuseEmpty(
        command.add_option_function<double>("--timeout", take, "Wait no longer for the shared mutex; 10 unless told"))
        ->type_name("SECONDS");
}
