#pragma once

#include <cxxabi.h>

#include <type_traits>

/// Makes a call and swallows every exception that it throws: the call has failed then, and gives `failure`.
///
/// Any thread. All calls into the device library go through this, as nobody knows what it throws, and so do the
/// callbacks from it, as its frames can't deal with exceptions. Passed on is only the unwinding that ends the calling
/// thread, by pthread_exit or cancellation: the library may end its own threads inside a callback.
template <typename Call>
std::invoke_result_t<Call> contained(Call call, std::type_identity_t<std::invoke_result_t<Call>> failure)
{
    try
    {
        return call();
    }
#ifdef __GLIBCXX__ // ends a thread by an exception, and the process if that one is swallowed
    catch (const abi::__forced_unwind&)
    {
        throw;
    }
#endif
    catch (...)
    {
        return failure;
    }
}

/// The same for a step without a result: an exception ends the step and nothing more.
template <typename Step>
requires std::is_void_v<std::invoke_result_t<Step>>
void contained(Step step)
{
    static_cast<void>(contained([&] { return (step(), true); }, false));
}
