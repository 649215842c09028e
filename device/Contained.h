#pragma once

/// Runs a step that must not throw to its caller: the library's frames and the ends of threads can't deal with an
/// exception, and what one device costs must not end the daemon. The step is lost, nothing more.
template <typename Step>
void contained(Step step)
{
    try
    {
        step();
    }
    catch (...)
    {
    }
}
