#include "control/CommandError.h"

#include <cerrno>
#include <system_error>

CommandError::CommandError(const std::string& message, int status) : std::runtime_error(message), status(status) {}

CommandError systemError(const std::string& what)
{
    return CommandError(what + ": " + std::generic_category().message(errno));
}
