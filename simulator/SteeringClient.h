#pragma once

#include <string>

/// The client's end: sends one line and waits for the line of answer. Empty if there is nobody at the path or the
/// connection broke.
class SteeringClient
{
public:
    explicit SteeringClient(const std::string& path);
    ~SteeringClient();
    SteeringClient(const SteeringClient&) = delete;
    SteeringClient& operator=(const SteeringClient&) = delete;

    std::string ask(const std::string& line);

private:
    int descriptor = -1;
};
