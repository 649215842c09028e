#include "control/Guardian.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>

#include "control/CommandError.h"
#include "control/PreferenceLock.h"
#include "preferences/Owner.h"

namespace
{

/// How the guardian begins its report; a failure's reason follows.
enum Report : char
{
    Held = 'h',
    NoSegment = 'n',
    Failure = 'f'
};

/// Where the command inherits the pipe: beyond the numbers that scripts use for their own files.
constexpr int highDescriptor = 100;

/// Never 0, 1 or 2, which may be closed here and mean something to the command.
Descriptor aside(int descriptor)
{
    const Descriptor low(descriptor);
    Descriptor high(fcntl(low.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!high)
        throw systemError("can't make the guardian of the shared mutex");
    return high;
}

struct Pipe
{
    Pipe()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw systemError("can't make a pipe");
        read = aside(ends[0]);
        write = aside(ends[1]);
    }

    Descriptor read;
    Descriptor write;
};

/// What the guardian shares with its caller.
struct Ties
{
    Pipe report;
    Pipe life; ///< Its writing end is what the command and its children inherit.
    Descriptor caller = aside(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
};

void say(const Ties& ties, Report report, const std::string& reason = {})
{
    const std::string text = static_cast<char>(report) + reason;
    static_cast<void>(!write(ties.report.write.get(), text.data(), text.size())); // the caller may be gone
}

void closeAllBut(std::array<int, 3> kept)
{
    std::sort(kept.begin(), kept.end());
    int next = STDERR_FILENO + 1;
    for (const int descriptor : kept)
    {
        if (descriptor > next)
            close_range(static_cast<unsigned>(next), static_cast<unsigned>(descriptor) - 1, 0);
        next = descriptor + 1;
    }
    close_range(static_cast<unsigned>(next), ~0U, 0);
}

/// Leaves the caller's session, folder and files, but for the ties, and heeds no signal.
void detach(Ties& ties)
{
    setsid();
    static_cast<void>(!chdir("/"));
    for (int number = 1; number < NSIG; ++number)
        static_cast<void>(signal(number, SIG_IGN));
    ties.report.read = {};
    ties.life.write = {};
    closeAllBut({ties.report.write.get(), ties.life.read.get(), ties.caller.get()});
    const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(null.get(), standard);
    // The last that a machine short of memory should end. Allowed to root alone.
    std::ofstream("/proc/self/oom_score_adj") << -1000;
}

/// The caller's process has to be watched too, as its program may close what it inherited.
void waitForTheEndOf(const Ties& ties)
{
    pollfd watched[] = {{ties.life.read.get(), POLLIN, 0}, {ties.caller.get(), POLLIN, 0}};
    auto& [life, caller] = watched;
    while (life.fd >= 0 || caller.fd >= 0)
    {
        if (poll(watched, std::size(watched), -1) < 0)
            continue;
        char written[512]; // by a program that mistakes the descriptor for its own
        if (life.revents != 0 && read(life.fd, written, sizeof written) <= 0)
            life.fd = -1;
        if (caller.revents != 0)
            caller.fd = -1;
    }
}

bool hasEnded(const Descriptor& process)
{
    pollfd watched = {process.get(), POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
}

[[noreturn]] void guard(Ties& ties, std::chrono::milliseconds timeout)
{
    try
    {
        detach(ties);
        const PreferenceLock lock(timeout, [&] { return !hasEnded(ties.caller); });
        say(ties, lock.held() ? Held : NoSegment);
        ties.report.write = {};
        if (lock.held())
            waitForTheEndOf(ties);
    }
    catch (const std::exception& error)
    {
        say(ties, Failure, error.what());
    }
    _exit(0);
}

/// Runs the guardian as nobody's child here: the command is to find no child that it did not start.
void start(Ties& ties, std::chrono::milliseconds timeout)
{
    const pid_t middle = fork();
    if (middle < 0)
        throw systemError("can't start the guardian of the shared mutex");
    if (middle == 0)
    {
        if (fork() == 0)
            guard(ties, timeout);
        _exit(0);
    }
    static_cast<void>(waitpid(middle, nullptr, 0));
}

std::string readToEnd(int descriptor)
{
    std::string text;
    char part[512];
    for (ssize_t size = 0; (size = read(descriptor, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(size));
    return text;
}

}

bool holdPreferenceLock(std::chrono::milliseconds timeout)
{
    Ties ties;
    start(ties, timeout);
    ties.report.write = {};
    const std::string report = readToEnd(ties.report.read.get());
    if (report.empty())
        throw CommandError("the guardian of the shared mutex has ended");
    if (report[0] == Failure)
        throw CommandError(report.substr(1));
    if (report[0] == NoSegment)
        return false;
    if (fcntl(ties.life.write.get(), F_DUPFD, highDescriptor) < 0)
        fcntl(ties.life.write.release(), F_SETFD, 0); // so few descriptors are allowed
    return true;
}
