#pragma once

#include <string>

class Simulator;

/// Carries out one line of words that steer the simulator. The answer is one line, "ok …" or "error …"; a line that
/// makes no sense changes nothing.
std::string execute(Simulator& simulator, const std::string& line);
