#include "benchmarks/Processes.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "benchmarks/Measure.h"

namespace
{

constexpr std::chrono::seconds deadline{60};

std::string pathIn(pid_t pid, const char* name) { return "/proc/" + std::to_string(pid) + "/" + name; }

}

Stage::Stage()
{
    std::string name = std::filesystem::temp_directory_path() / "ostrivane-benchmark-XXXXXX";
    require(mkdtemp(name.data()), "making a folder");
    folder = name;
}

Stage::Stage(const std::vector<std::string>& files) : Stage()
{
    for (const std::string& file : files)
        std::filesystem::copy(file, folder);
}

Stage::~Stage() { std::filesystem::remove_all(folder); }

Process::Process(const std::vector<std::string>& words, const Environment& environment)
{
    int in[2] = {-1, -1};
    int out[2] = {-1, -1};
    require(pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0, "making pipes");
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid = fork();
    if (pid == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // whatever ends this program, no daemon stays behind
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    require(pid > 0, "starting " + words.front());
    close(in[0]);
    close(out[1]);
    input = in[1];
    output = out[0];
}

Process::~Process()
{
    if (pid > 0)
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    closeInput();
    close(output);
}

void Process::awaitByte() const
{
    char byte = 0;
    require(read(output, &byte, 1) == 1, "the bare process is not ready");
}

void Process::closeInput()
{
    if (input != -1)
        close(input);
    input = -1;
}

void Process::terminate() const { kill(pid, SIGTERM); }

void Process::wait()
{
    int status = -1;
    require(waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0, "a process failed");
    pid = -1;
}

long Process::contextSwitches() const
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator(pathIn(pid, "task")))
    {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (const size_t end = line.find("ctxt_switches:"); end != std::string::npos)
                sum += atol(line.c_str() + line.find(':') + 1);
    }
    return sum;
}

long Process::threads() const { return std::distance(std::filesystem::directory_iterator(pathIn(pid, "task")), {}); }

void Process::awaitIdle(long threadCount) const
{
    const Clock::time_point end = Clock::now() + deadline;
    for (long former = -1; Clock::now() < end;)
    {
        const long present = threads() >= threadCount ? contextSwitches() : -1;
        if (present != -1 && present == former)
            return;
        former = present;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    require(false, "the process does not come to rest with " + std::to_string(threadCount) + " threads");
}

double Process::memory(const std::string& line) const
{
    std::ifstream rollup(pathIn(pid, "smaps_rollup"));
    double sum = 0;
    bool found = false;
    for (std::string text; std::getline(rollup, text);)
    {
        if (!text.starts_with(line))
            continue;
        sum += 1024 * atof(text.c_str() + text.find(':') + 1);
        found = true;
    }
    require(found, "no line " + line + " in smaps_rollup");
    return sum;
}

SyslogSocket::SyslogSocket()
{
    require(getenv("OSTRIVANE_PRIVATE_MACHINE"), "not on a machine of its own");
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(address.sun_path);
    const timeval timeout = {deadline.count(), 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    require(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "listening at /dev/log");
}

SyslogSocket::~SyslogSocket()
{
    close(socket);
    unlink("/dev/log");
}

void SyslogSocket::await(const std::string& text) const
{
    char bytes[4096];
    while (true)
    {
        const ssize_t count = recv(socket, bytes, sizeof bytes, 0);
        require(count > 0, "waiting for the log line " + text);
        if (std::string(bytes, static_cast<size_t>(count)).find(text) != std::string::npos)
            return;
    }
}

std::vector<std::string> librariesOf(const std::string& program)
{
    FILE* stream = popen(("LD_TRACE_LOADED_OBJECTS=1 '" + program + "'").c_str(), "r");
    require(stream, "asking the dynamic linker");
    std::vector<std::string> names;
    char line[4096];
    while (fgets(line, sizeof line, stream))
    {
        std::string name;
        std::istringstream(line) >> name;
        names.push_back(name);
    }
    require(pclose(stream) == 0 && !names.empty(), "the libraries of " + program);
    std::sort(names.begin(), names.end());
    return names;
}
