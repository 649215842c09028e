#pragma once

#include <csignal>

inline namespace ostrivane
{

/// Lets this thread's signals wait from construction to destruction.
class HeldSignals
{
public:
    HeldSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before;
};

}
