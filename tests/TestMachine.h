#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Collects what comes to /dev/log, as a syslog daemon would. Only on a machine of the test's own.
class SyslogCollector
{
public:
    SyslogCollector();
    ~SyslogCollector();

    /// Each message as "priority text", without date, ident and pid.
    std::vector<std::string> messages() const;
    bool waitFor(const std::string& message) const;
    bool waitForCount(size_t count) const;

private:
    void run();

    int socket = -1;
    mutable std::mutex mutex;
    std::vector<std::string> received;
    std::thread thread;
};

/// A folder with its own copy of what a program needs beside it, removed in the end.
class Stage
{
public:
    explicit Stage(const std::vector<std::string>& files);
    ~Stage();

    std::string operator/(const std::string& name) const { return folder + "/" + name; }

    std::string folder;
};

/// A child of this process. Ended in the destructor, at the latest.
class Child
{
public:
    using Environment = std::map<std::string, std::string>;

    /// What the child writes to stderr goes to `errors`.
    explicit Child(pid_t pid) : pid(pid) {} ///< One that a child left to this process.
    Child(const std::vector<std::string>& words, const Environment& environment, const std::string& errors);
    ~Child();

    void signal(int number) const;
    /// Exit status, or -1 if a signal ended it; so does a deadline.
    int wait();

    pid_t pid = -1;
};

std::string contents(const std::string& path);
bool exists(const std::string& path);
/// Permission bits in octal, or "missing".
std::string modeOf(const std::string& path);
