#include <dlfcn.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <list>
#include <mutex>
#include <thread>

// The floor of a process: links the libraries that the daemon links, opens the device library that lies beside it if
// there is one, and does nothing. With a number it holds so many waiting threads, says so by a byte on standard output,
// and ends when its standard input does.

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

bool hold(int count)
{
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
    char byte = '\n';
    const bool said = write(STDOUT_FILENO, &byte, 1) == 1;
    while (said && read(STDIN_FILENO, &byte, 1) > 0)
        continue;
    {
        const std::lock_guard lock(mutex);
        running = false;
        wakeup.notify_all();
    }
    for (std::thread& thread : threads)
        thread.join();
    return said;
}

}

int main(int argc, char* argv[])
{
    openLibrary();
    return argc < 2 || hold(atoi(argv[1])) ? 0 : 1;
}
