#pragma once

#include <string>

#include "preferences/Owner.h"

/// The client's end: sends one line and waits for the line of answer. The answer is empty if there is nobody at the
/// path or the connection broke; then `error` says what a person has to know, with the path.
class SteeringClient
{
public:
    explicit SteeringClient(const std::string& path);

    std::string ask(const std::string& line);

    std::string error;

private:
    const std::string path;
    Descriptor descriptor;
};
