#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "driver-status/BfTableException.h"

namespace test_support {

/// Every status that a PD call may be refused with, and some that the SDK does not define.
std::vector<BfTable::pipe_status> failingStatuses();

/// How a refused PD call came out of the driver: the exact class that was thrown, or "nothing".
struct Refusal {
    std::string thrown;
    BfTable::pipe_status status = 0;
    std::string message;
    std::uint32_t id = 0;

    bool operator==(const Refusal&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
        return out << refusal.thrown << " status " << refusal.status << " id " << refusal.id << ": "
                   << refusal.message;
    }
};

/// Runs `act` as an agent would that handles table exceptions first and whatever escapes that
/// handler afterwards.
Refusal refusalBy(const std::function<void()>& act);
/// What must come out when the PD function returns the status.
Refusal expectedRefusal(const std::string& function, BfTable::pipe_status status);

/**
 * One place where the driver calls the chip and cares for the status. `World` is a default
 * constructible set-up of the driver over a `RecordingPd pd` and a `Journal journal`.
 */
template <class World>
struct PdSite {
    /// Names the site among the tests.
    const char* name;
    /// The PD function that refuses.
    const char* function;
    /// Brings the driver to where the call can be made.
    std::function<void(World&)> prepare;
    /// Makes the driver call the function, once.
    std::function<void(World&)> act;
    /// Checks the state that the refusal leaves; the journal holds what happened since `prepare`.
    std::function<void(World&)> expectAfterwards;

    friend void PrintTo(const PdSite& site, std::ostream* out) { *out << site.name; }
};

/// Refuses the site's call with every failing status, each in a world of its own.
template <class World>
void expectRefusals(const PdSite<World>& site) {
    for (const BfTable::pipe_status status : failingStatuses()) {
        SCOPED_TRACE(std::string(site.name) + " with status " + std::to_string(status));
        World world;
        site.prepare(world);
        world.pd.takeCalls();
        world.journal.clear();
        world.pd.failAlways(site.function, status);
        EXPECT_EQ(refusalBy([&] { site.act(world); }), expectedRefusal(site.function, status));
        EXPECT_EQ(world.pd.count(site.function), 1u);
        site.expectAfterwards(world);
        world.pd.succeed(site.function);
    }
}

/// Names the instances of a test over sites.
template <class World>
std::string siteName(const testing::TestParamInfo<PdSite<World>>& info) {
    return info.param.name;
}

} // namespace test_support
