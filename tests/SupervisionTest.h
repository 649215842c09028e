#pragma once

#include <filesystem>

#include "device/OstrivaneHelper.h"
#include "tests/SimulatorTest.h"

/// The whole supervision on simulated cards, in this process. Ends with as many threads and descriptors as before.
class SupervisionTest : public SimulatorTest
{
protected:
    SupervisionTest() { restart(); }

    ~SupervisionTest() override
    {
        helper.reset();
        EXPECT_TRUE(waitFor([this] { return entries("/proc/self/task") == threadsBefore; }));
        EXPECT_EQ(entries("/proc/self/fd"), descriptorsBefore);
    }

    void restart()
    {
        helper = std::make_unique<OstrivaneHelper>();
        helper->start();
    }

    static long entries(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

    const long threadsBefore = entries("/proc/self/task");
    const long descriptorsBefore = entries("/proc/self/fd");
    std::unique_ptr<OstrivaneHelper> helper;
};
