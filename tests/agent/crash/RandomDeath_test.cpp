#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>

#include "tests/agent/crash/CrashTest.h"

/// Deaths at any instant: not at a step that somebody thought of.
namespace LagAgent::Crash {
namespace {

using std::chrono::microseconds;

/// The scenario, so many times over.
constexpr std::size_t kTimes = 3;

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 0) : otherwise;
}

class RandomDeath : public CrashTest {
  protected:
    /// Of a start and the commands, when nothing happens to them.
    microseconds wholeTime() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(ruinOf({}, kTimes).isDeath);
        return std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - begin);
    }
};

/// Each run is a start, a burst of commands and a death, over what the run before left or, every
/// few runs, from the beginning.
TEST_F(RandomDeath, AtAnyInstantLosesNothing) {
    const std::uint64_t runs = fromEnvironment("LAG_SOAK_RUNS", 200 / (kStride > 1 ? 8 : 1));
    const std::uint64_t seed = fromEnvironment("LAG_SOAK_SEED", std::random_device{}());
    std::cout << "LAG_SOAK_RUNS=" << runs << " LAG_SOAK_SEED=" << seed << std::endl;
    std::mt19937_64 random(seed);
    std::uniform_int_distribution<std::int64_t> instant(0, wholeTime().count());
    std::uint64_t deaths = 0;
    for (std::uint64_t run = 0; run < runs && !HasFailure(); ++run) {
        const Death death{.way = Death::Way::atTime, .time = microseconds(instant(random))};
        SCOPED_TRACE("run " + std::to_string(run) + ", seed " + std::to_string(seed));
        Ruin ruin = ruinOf(death, kTimes);
        // The next start may be hit, too.
        const Death second{.way = Death::Way::atTime,
                           .from = Death::From::start,
                           .time = microseconds(instant(random) / 8)};
        deaths += ruin.isDeath;
        watched(ruin.place, [&](Watcher&) {
            deaths += isDeathOfStart(ruin.place, second);
            expectStart(ruin.place, ruin.models);
        });
        if (run % 8 == 0) {
            expectWorksOnFrom(ruin.place);
        }
    }
    EXPECT_GT(deaths, runs / 2); // two in each run may be too late to be one
    EXPECT_GT(lookups(), runs * 1000);
}

} // namespace
} // namespace LagAgent::Crash
