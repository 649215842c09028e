#include <unistd.h>

#include <cstdio>
#include <mutex>

#include "preferences/SharedPreferenceMutex.h"

/// Another program that saves preferences: attaches to the shared mutex, holds it until its standard input ends, and
/// says so in between.
int main()
{
    SharedPreferenceMutex mutex;
    if (!mutex.open(false))
    {
        fprintf(stderr, "holdmutex: there is no shared mutex\n");
        return 1;
    }
    const std::lock_guard lock(mutex);
    puts("held");
    fflush(stdout);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0)
    {
    }
    return 0;
}
