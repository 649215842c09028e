#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "preferences/Owner.h"
#include "tests/Waiting.h"

using Lines = std::vector<std::string>;

inline constexpr const char* segmentPath = "/dev/shm/qsl_pref_mutex";

inline std::string contents(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// Permission bits; 0 if it is missing.
inline mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

/// Whether the test's machine is one of mounts, which a test may change; otherwise it uses the paths of the real one.
inline bool mayMount()
{
    const char* machine = getenv("OSTRIVANE_PRIVATE_MACHINE");
    return machine && machine == std::string("mounted");
}

/// Takes what comes to /dev/log, as a syslog daemon would. Only on a machine of the test's own.
class SyslogCollector
{
public:
    SyslogCollector()
    {
        const sockaddr_un address = {AF_UNIX, "/dev/log"};
        const bool own = getenv("OSTRIVANE_PRIVATE_MACHINE") && remove(address.sun_path) <= 0;
        if (!own || bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("not on a machine of the test's own, or no place for /dev/log on it");
    }

    /// Waits until there are so many messages and takes all that there are, each as "priority text", without date,
    /// ident and pid.
    Lines take(size_t count)
    {
        Lines messages;
        const auto enough = [&]
        {
            char bytes[4096];
            for (ssize_t size = 0; (size = recv(socket.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;)
            {
                // <14>Nov 22 10:00:00 OstrivaneHelper[123]: text
                const std::string line(bytes, static_cast<size_t>(size));
                const int code = atoi(line.c_str() + 1);
                const bool ours = line.find(" OstrivaneHelper[") != std::string::npos && (code & ~7) == 8;
                messages.push_back(ours ? std::to_string(code & 7) + line.substr(line.find("]: ") + 2) : line);
            }
            return messages.size() >= count;
        };
        static_cast<void>(waitFor(enough));
        return messages;
    }

private:
    const Descriptor socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

/// A folder with its own copy of what a program needs beside it, removed in the end.
class Stage
{
public:
    explicit Stage(const Lines& files = {})
    {
        for (const std::string& file : files)
            std::filesystem::copy(file, folder);
    }

    ~Stage() { std::filesystem::remove_all(folder); }

    std::string operator/(const std::string& name) const { return folder + "/" + name; }

    const std::string folder = mkdtemp(std::string("/tmp/ostrivane-test-XXXXXX").data());
};

/// A child of this process. Killed in the destructor, at the latest.
class Child
{
public:
    using Environment = std::map<std::string, std::string>;

    explicit Child(pid_t pid) : pid(pid) {} ///< One that a fork or another child left to this process.

    /// What the child writes to stderr goes to `errors`, and what it writes to stdout to `output` if that is named.
    Child(const Lines& words, const std::string& errors, const Environment& environment = {},
          const std::string& output = {})
        : pid(fork())
    {
        if (pid != 0)
            return;
        std::vector<char*> arguments(words.size() + 1);
        for (size_t i = 0; i < words.size(); ++i)
            arguments[i] = const_cast<char*>(words[i].c_str());
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
        if (!output.empty())
            dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }

    ~Child()
    {
        if (pid > 0)
            stop(SIGKILL);
    }

    /// Exit status, or -1 if a signal ended it; so does the deadline.
    int wait()
    {
        int status = -1;
        if (!waitFor([&] { return waitpid(pid, &status, WNOHANG) != 0; }))
            return stop(SIGKILL);
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The status after it was asked to end.
    int stop(int signal = SIGTERM)
    {
        kill(pid, signal);
        return wait();
    }

    pid_t pid;
};
