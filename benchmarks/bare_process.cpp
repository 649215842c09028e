#include <dlfcn.h>
#include <pthread.h>
#include <syslog.h>

#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <list>
#include <mutex>
#include <thread>

// The baseline of a process: links the libraries that the daemon links, opens the device library that lies beside it if
// there is one, and does nothing. With a number it holds so many waiting threads, says on syslog that it is ready, and
// ends at SIGTERM.

namespace
{

/// As the daemon opens it, up to the point where the library has made what it holds.
void openLibrary()
{
    void* library = dlopen("libTessarigAPI.so", RTLD_NOW | RTLD_GLOBAL);
    if (!library)
        return;
    using Factory = void* (*)();
    const auto factory = reinterpret_cast<Factory>(dlsym(library, "CreateTessarigDiscoveryInstance_0003"));
    if (factory)
        static_cast<void>(factory());
}

void hold(int count)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::mutex mutex;
    std::condition_variable wakeup;
    bool running = true;
    std::list<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(
            [&]
            {
                std::unique_lock lock(mutex);
                wakeup.wait(lock, [&] { return !running; });
            });
    syslog(LOG_INFO, "ready");
    int signal = 0;
    sigwait(&signals, &signal);
    {
        const std::lock_guard lock(mutex);
        running = false;
        wakeup.notify_all();
    }
    for (std::thread& thread : threads)
        thread.join();
}

}

int main(int argc, char* argv[])
{
    openLibrary();
    if (argc > 1)
        hold(atoi(argv[1]));
    return 0;
}
