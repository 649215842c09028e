#pragma once

#include <cxxabi.h>

#include <type_traits>

/// Makes a call of the device library. One that throws counts as one that failed, and gives `failure`.
///
/// The library's code can't be trusted with exceptions, nor can its frames, the callbacks' callers, deal with one. Only
/// what ends the calling thread, as pthread_exit and cancellation do, goes on: the library may end a thread of its own.
template <typename Call>
std::invoke_result_t<Call> contained(Call call, std::type_identity_t<std::invoke_result_t<Call>> failure)
{
    try
    {
        return call();
    }
#ifdef __GLIBCXX__ // which unwinds an ending thread by an exception that has to be passed on, or ends the process
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

/// The same for a step without a result. What throws loses the rest of the step, nothing more.
template <typename Step>
    requires std::is_void_v<std::invoke_result_t<Step>>
void contained(Step step)
{
    static_cast<void>(contained([&] { return (step(), true); }, false));
}
