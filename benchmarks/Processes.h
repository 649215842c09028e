#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

// Whole processes that are measured from outside: the daemon, and the bare process that is its floor. On a machine of
// the benchmark's own.

/// A folder with programs and a device library beside them, removed in the end.
class Stage
{
public:
    explicit Stage(const std::vector<std::string>& files);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    std::string operator/(const std::string& name) const { return folder + "/" + name; }

    std::string folder;

private:
    Stage();
};

/// A child without a terminal: what it writes to stderr is dropped. Killed in the destructor if it still runs.
class Process
{
public:
    using Environment = std::map<std::string, std::string>;

    explicit Process(const std::vector<std::string>& words, const Environment& environment = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Waits for the byte by which a bare process says that it is ready.
    void awaitByte() const;
    /// Ends the standard input.
    void closeInput();
    void terminate() const;
    /// Returns when the process has ended, which must be with status 0.
    void wait();

    /// All context switches that its threads have made so far.
    long contextSwitches() const;
    long threads() const;
    /// Returns when it has so many threads, or more, and none of them runs any more.
    void awaitIdle(long threadCount) const;

    /// Bytes, of a line of /proc/PID/smaps_rollup or of all lines that begin like it.
    double memory(const std::string& line) const;

    pid_t pid = -1;

private:
    int input = -1;
    int output = -1;
};

/// Takes what comes to /dev/log, as a syslog daemon would.
class SyslogSocket
{
public:
    SyslogSocket();
    ~SyslogSocket();
    SyslogSocket(const SyslogSocket&) = delete;
    SyslogSocket& operator=(const SyslogSocket&) = delete;

    /// Returns when a message with this text has come; others before it are passed over.
    void await(const std::string& text) const;

private:
    int socket = -1;
};

/// The shared libraries that the dynamic linker maps for a program, by name.
std::vector<std::string> librariesOf(const std::string& program);
