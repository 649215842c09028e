#pragma once

#include <csignal>
#include <memory>

#include "device/OstrivaneHelper.h"

/// Runs the daemon: takes the options, goes into the background, writes the pid file and the log, and waits for SIGINT
/// or SIGTERM. No other class writes to the log.
///
/// Main thread. One instance, for the whole process.
class HelperDaemon
{
public:
    HelperDaemon() = default;
    HelperDaemon(const HelperDaemon&) = delete;
    HelperDaemon& operator=(const HelperDaemon&) = delete;

    /// The whole run. Returns the process's exit status.
    int main(int argc, char* argv[]);

    /// Ignores what it doesn't know; getopt_long tells the user.
    void parseOptions(int argc, char* argv[]);

    /// On success the calling process has left with status 0 and it is the child that returns, with 0. On 1 the caller
    /// has to end; the reason is on stderr if there was no child, else in the log.
    int daemonise();

    void openSyslog();

    /// Returns 0, or 1 if the file can't be opened; then the reason is in the log. Later failures are ignored. The file
    /// is never removed.
    int writePidFile();

    /// Makes and starts the main object, waits for SIGINT or SIGTERM, and destroys it. Returns 0, or 1 if a wait
    /// failed.
    int run();

    // Public, as in all these classes: tests look at the state directly.
    bool stopRequested = false;
    bool runAsDaemon = true;
    bool syslogOpen = false;
    const char* pidFilePath = nullptr; ///< Points into the argument vector.
    std::unique_ptr<OstrivaneHelper> mainObject;

private:
    int waitForTermination(const sigset_t& signals);
};
