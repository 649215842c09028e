#pragma once

#include <filesystem>
#include <iterator>
#include <memory>
#include <vector>

#include "device/OstrivaneHelper.h"
#include "tests/SimulatorTest.h"

using Ids = std::vector<int64_t>;

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

    /// The cards that have listeners, in the order in which these were made.
    Ids listenedTo()
    {
        Ids ids;
        for (PreferenceChangeListener* listener : helper->listeners)
            for (const int64_t id : simulator.list())
                if (listener->isDevice(COMPtr<ITessarig>(&simulator.find(id)->device)))
                    ids.insert(ids.begin(), id);
        return ids;
    }

    static long entries(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

    const long threadsBefore = entries("/proc/self/task");
    const long descriptorsBefore = entries("/proc/self/fd");
    std::unique_ptr<OstrivaneHelper> helper;
};
