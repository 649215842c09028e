#include "daemon/HelperDaemon.h"

#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "preferences/Owner.h"

namespace
{

constexpr int standardStreams[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};

/// Puts the null device where nobody gave descriptor 0, 1 or 2, so that what goes to stderr cannot land in a file that
/// happened to get number 2: the shared mutex would be the first.
void openStandardStreams()
{
    for (const int descriptor : standardStreams)
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0)
            return;
}

void detachStandardStreams()
{
    for (const int descriptor : standardStreams)
        close(descriptor);
    openStandardStreams();
}

}

int HelperDaemon::main(int argc, char* argv[])
{
    openStandardStreams();
    parseOptions(argc, argv);
    int status = 0;
    if (runAsDaemon)
        status = daemonise();
    else
        openSyslog();
    if (status == 0)
        status = writePidFile();
    if (status == 0)
        status = run();
    if (syslogOpen)
        closelog();
    mainObject.reset();
    return status;
}

void HelperDaemon::parseOptions(int argc, char* argv[])
{
    static constexpr option longOptions[] = {
        {"no-daemon", no_argument, nullptr, 'n'},
        {"pid-file", required_argument, nullptr, 'p'},
        {nullptr, 0, nullptr, 0},
    };
    for (int result = 0; (result = getopt_long(argc, argv, "np:", longOptions, nullptr)) >= 0;)
    {
        if (result == 'p')
            pidFilePath = optarg;
        else if (result == 'n')
            runAsDaemon = false;
    }
}

int HelperDaemon::daemonise()
{
    const pid_t child = fork();
    if (child < 0)
    {
        fprintf(stderr, "Failed to fork daemon (%u)\n", static_cast<unsigned>(errno));
        return 1;
    }
    if (child > 0)
        exit(0);

    umask(0);
    openSyslog();
    if (setsid() < 0)
    {
        syslog(LOG_CRIT, "Failed to set new session id (%u)\n", static_cast<unsigned>(errno));
        return 1;
    }
    if (chdir("/") < 0)
    {
        syslog(LOG_CRIT, "Failed to change current directory (%u)\n", static_cast<unsigned>(errno));
        return 1;
    }
    detachStandardStreams();
    return 0;
}

void HelperDaemon::openSyslog()
{
    openlog("OstrivaneHelper", LOG_PID, LOG_USER);
    syslogOpen = true;
}

int HelperDaemon::writePidFile()
{
    if (!pidFilePath)
        return 0;
    const Stream file(fopen(pidFilePath, "w"));
    if (!file)
    {
        syslog(LOG_CRIT, "Failed to open pidfile: %s (%u)\n", pidFilePath, static_cast<unsigned>(errno));
        return 1;
    }
    // A full disk is no reason not to run.
    static_cast<void>(fprintf(file.get(), "%u\n", static_cast<unsigned>(getpid())));
    return 0;
}

int HelperDaemon::run()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);

    static_cast<void>(fwrite("Start\n", 1, 6, stderr));
    // Before any thread exists, so that each inherits the block: a signal at any moment waits for the sigwait below,
    // and the stop is orderly.
    const int maskError = sigprocmask(SIG_BLOCK, &signals, nullptr) == 0 ? 0 : errno;
    mainObject = std::make_unique<OstrivaneHelper>();
    mainObject->start();
    syslog(LOG_INFO, "Listening for Ostrivane settings changes\n");
    if (maskError != 0)
        syslog(LOG_ERR, "Error masking signals (%u)\n", static_cast<unsigned>(maskError));

    const int status = waitForTermination(signals);
    mainObject.reset();
    syslog(LOG_INFO, "Stopped listening for Ostrivane settings changes\n");
    return status;
}

int HelperDaemon::waitForTermination(const sigset_t& signals)
{
    int status = 0;
    while (!stopRequested)
    {
        int signal = 0;
        const int error = sigwait(&signals, &signal);
        if (error != 0)
        {
            syslog(LOG_CRIT, "Failed to wait for termination signal (%u)\n", static_cast<unsigned>(error));
            status = 1;
        }
        else if (signal == SIGINT || signal == SIGTERM)
            stopRequested = true;
    }
    return status;
}
