#pragma once

#include <stdexcept>

#include <gtest/gtest.h>

#include "device/PreferenceChangeListener.h"
#include "simulator/Simulator.h"
#include "testing/Waiting.h"

/// A machine without cards, on which nothing is saved to disk. Ends with nobody holding anything of the library.
class SimulatorTest : public testing::Test
{
protected:
    SimulatorTest()
    {
        simulator.saveSettings = [](int64_t, const SimulatedCard::Settings&) { return true; };
    }

    ~SimulatorTest() override
    {
        simulator.reset();
        EXPECT_TRUE(waitFor([this] { return simulator.ledger.total() == 0; }));
    }

    Simulator::Card plugged(int64_t id)
    {
        simulator.plug(id);
        return simulator.find(id);
    }

    Faults& faults(int64_t id) { return simulator.recordOf(std::to_string(id))->faults; }
    CallLog& calls(int64_t id) { return simulator.recordOf(std::to_string(id))->calls; }
    /// The call fails with 5, or throws.
    void spoil(int64_t id, const std::string& call, bool throwing)
    {
        if (throwing)
            faults(id).interrupt(call, [] { throw std::runtime_error("thrown by the library"); });
        else
            faults(id).fail(call, 5);
    }

    static bool isDirty(PreferenceChangeListener& listener)
    {
        const std::lock_guard lock(listener.mutex);
        return listener.dirty;
    }

    bool waitForCall(int64_t id, const char* call, int count = 1)
    {
        return waitFor([&] { return calls(id).count(call) >= count; });
    }

    Simulator& simulator = Simulator::instance();
};
