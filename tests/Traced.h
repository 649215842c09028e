#pragma once

#include <gtest/gtest.h>

#include "testing/Child.h"
#include "testing/TemporaryFolder.h"

/// What strace says where no process can be traced; empty where one can.
inline std::string tracingRefused()
{
    const TemporaryFolder stage;
    const int status = Child({"/usr/bin/strace", "-o", "/dev/null", "/bin/true"}, stage / "errors").wait();
    return status == 0 ? "" : "no process can be traced: " + contents(stage / "errors");
}

#define SKIP_UNLESS_TRACING_WORKS()                                                                                    \
    if (const std::string reason = tracingRefused(); !reason.empty())                                                  \
    GTEST_SKIP() << reason
