#pragma once

#include <string>

#include "preferences/Owner.h"

/// Sends commands to a simulator, over a connection that lasts as long as the object. One thread at a time.
class SteeringClient
{
public:
    explicit SteeringClient(const std::string& socketPath);

    /// Waits for the line of answer. Empty if nobody answers; then `error` says why, with the path.
    std::string ask(const std::string& line);

    std::string error;

private:
    const std::string path;
    Descriptor descriptor;
};
