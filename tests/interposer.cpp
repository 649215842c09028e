#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

// Preloaded into the daemon: the first call of the function that FAIL_CALL names, or the first FAIL_TIMES, fail.

namespace
{

bool fails(const char* call, int error = EIO)
{
    static int left = getenv("FAIL_TIMES") ? atoi(getenv("FAIL_TIMES")) : 1;
    const char* wanted = getenv("FAIL_CALL");
    if (!wanted || strcmp(wanted, call) != 0 || left-- <= 0)
        return false;
    errno = error;
    return true;
}

template <typename Function>
Function real(Function, const char* call)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, call));
}

}

extern "C"
{
    pid_t fork() { return fails("fork") ? -1 : real(&fork, "fork")(); }
    pid_t setsid() { return fails("setsid") ? -1 : real(&setsid, "setsid")(); }
    int chdir(const char* path) { return fails("chdir") ? -1 : real(&chdir, "chdir")(path); }
    int sigwait(const sigset_t* set, int* number)
    {
        return fails("sigwait") ? EIO : real(&sigwait, "sigwait")(set, number);
    }
    int sigprocmask(int how, const sigset_t* set, sigset_t* former)
    {
        return fails("sigprocmask") ? -1 : real(&sigprocmask, "sigprocmask")(how, set, former);
    }
    int shm_open(const char* name, int flags, mode_t mode)
    {
        return fails("shm_open", EEXIST) ? -1 : real(&shm_open, "shm_open")(name, flags, mode);
    }
}
