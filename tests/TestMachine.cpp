#include "tests/TestMachine.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/Waiting.h"

SyslogCollector::SyslogCollector()
{
    if (!getenv("OSTRIVANE_PRIVATE_MACHINE"))
        throw std::runtime_error("not on a machine of the test's own");
    sockaddr_un address = {AF_UNIX, "/dev/log"};
    socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(address.sun_path);
    if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("cannot listen at /dev/log");
    thread = std::thread([this] { run(); });
}

SyslogCollector::~SyslogCollector()
{
    shutdown(socket, SHUT_RDWR);
    thread.join();
    close(socket);
    unlink("/dev/log");
}

void SyslogCollector::run()
{
    char bytes[4096];
    for (ssize_t count = 0; (count = recv(socket, bytes, sizeof bytes, 0)) > 0;)
    {
        // <14>Nov 22 10:00:00 OstrivaneHelper[123]: text
        const std::string line(bytes, static_cast<size_t>(count));
        const int code = atoi(line.c_str() + 1);
        const size_t text = line.find("]: ");
        const bool ours = line.find(" OstrivaneHelper[") != std::string::npos && (code & ~7) == 8;
        const std::lock_guard lock(mutex);
        received.push_back(ours ? std::to_string(code & 7) + " " + line.substr(text + 3) : "foreign " + line);
    }
}

std::vector<std::string> SyslogCollector::messages() const
{
    const std::lock_guard lock(mutex);
    return received;
}

bool SyslogCollector::waitFor(const std::string& message) const
{
    return ::waitFor(
        [&]
        {
            const auto all = messages();
            return std::find(all.begin(), all.end(), message) != all.end();
        });
}

bool SyslogCollector::waitForCount(size_t count) const
{
    return ::waitFor([&] { return messages().size() == count; });
}

Stage::Stage(const std::vector<std::string>& files)
{
    char name[] = "/tmp/ostrivane-test-XXXXXX";
    folder = mkdtemp(name);
    for (const std::string& file : files)
        std::filesystem::copy(file, folder);
}

Stage::~Stage() { std::filesystem::remove_all(folder); }

Child::Child(const std::vector<std::string>& words, const Environment& environment, const std::string& errors)
{
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid = fork();
    if (pid != 0)
        return;
    for (const auto& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);
    dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Child::~Child()
{
    if (pid > 0)
    {
        kill(pid, SIGKILL);
        wait();
    }
}

void Child::signal(int number) const { kill(pid, number); }

int Child::wait()
{
    int status = 0;
    const auto ended = [&] { return waitpid(pid, &status, WNOHANG) == pid; };
    if (!waitFor(ended))
    {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string contents(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

bool exists(const std::string& path) { return std::filesystem::exists(path); }

std::string modeOf(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return "missing";
    char text[8];
    snprintf(text, sizeof text, "%o", status.st_mode & 0777);
    return text;
}
