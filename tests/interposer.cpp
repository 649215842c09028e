#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

// Preloaded into the daemon: the first call of the function that FAIL_CALL names, or the first FAIL_TIMES, fail.

template <typename Result, typename... Parameter>
static Result call(Result (*)(Parameter...), const char* name, int error, Result failure, Parameter... parameter)
{
    static int left = getenv("FAIL_TIMES") ? atoi(getenv("FAIL_TIMES")) : 1;
    const char* wanted = getenv("FAIL_CALL");
    if (!wanted || strcmp(wanted, name) != 0 || left-- <= 0)
        return reinterpret_cast<Result (*)(Parameter...)>(dlsym(RTLD_NEXT, name))(parameter...);
    errno = error;
    return failure;
}

extern "C"
{
    pid_t fork() { return call(fork, "fork", EIO, -1); }
    pid_t setsid() { return call(setsid, "setsid", EIO, -1); }
    int chdir(const char* path) { return call(chdir, "chdir", EIO, -1, path); }
    int sigwait(const sigset_t* set, int* number) { return call(sigwait, "sigwait", EIO, EIO, set, number); }
    int sigprocmask(int how, const sigset_t* set, sigset_t* former)
    {
        return call(sigprocmask, "sigprocmask", EIO, -1, how, set, former);
    }
    int shm_open(const char* name, int flags, mode_t mode)
    {
        return call(shm_open, "shm_open", EEXIST, -1, name, flags, mode);
    }
}
