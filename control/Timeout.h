#pragma once

#include <chrono>

#include <CLI/CLI.hpp>

constexpr std::chrono::milliseconds defaultTimeout = std::chrono::seconds(10);

/// Adds --timeout, in seconds, which goes into `timeout` while the command line is read.
void addTimeout(CLI::App& command, std::chrono::milliseconds& timeout);
