#include "testing/Child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "preferences/Owner.h"
#include "testing/Waiting.h"

namespace
{

void redirect(int descriptor, const std::string& path)
{
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    dup2(file.get(), descriptor);
}

}

Child::Child(pid_t existing) : pid(existing)
{
    if (pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
}

Child::Child(const Lines& words, const std::string& errors, const Environment& environment, const std::string& output)
    : Child(fork())
{
    if (pid != 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const auto& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);
    redirect(STDERR_FILENO, errors);
    if (!output.empty())
        redirect(STDOUT_FILENO, output);
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Child::~Child()
{
    if (pid > 0)
        stop(SIGKILL);
}

int Child::wait()
{
    if (pid <= 0)
        return -1;
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    pollfd end = {process.get(), POLLIN, 0};
    if (poll(&end, 1, static_cast<int>(std::chrono::milliseconds(maxWait).count())) == 0)
        kill(pid, SIGKILL);
    int status = -1;
    const bool ended = waitpid(pid, &status, 0) == pid;
    pid = -1;
    return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Child::stop(int signal)
{
    if (pid > 0)
        kill(pid, signal);
    return wait();
}
