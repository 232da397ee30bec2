#include <gtest/gtest.h>

#include <array>

#include "tests/agent/crash/CrashTest.h"

/// What the death of an agent that starts over what another death left leaves to the next one.
namespace LagAgent::Crash {
namespace {

using Way = Death::Way;

/// First deaths that leave the next start much to do, each of its own kind.
constexpr std::array kFirstDeaths{
    Death{.way = Way::asicStep, .after = 21, .at = 8},
    Death{.way = Way::asicStep, .after = 3, .at = 18},
    Death{.way = Way::tableStore, .after = 18, .at = 4},
    Death{.way = Way::asicStep, .after = 11, .at = 1},
    Death{.way = Way::systemCall, .after = 26, .at = 20},
};
/// Every how many steps a start dies, but over what the first of these left.
constexpr std::uint64_t kSample = 11;

class RestartDeath : public CrashTest {
  protected:
    std::uint64_t fallOverRuins(Way way, const Death& second = {}, bool isSample = false) {
        std::uint64_t deaths = 0;
        for (const Death& first : kFirstDeaths) {
            SCOPED_TRACE("after " + first.name());
            const Ruin ruin = ruinOf(first);
            EXPECT_TRUE(ruin.isDeath);
            deaths += fallDuringStart(ruin.place, ruin.models, way,
                                      isSample ? kStride * kSample : kStride, second);
            isSample = true;
        }
        return deaths;
    }
};

TEST_F(RestartDeath, AtAnyStepOfTheAsicIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(Way::asicStep), 600 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnyStoreToTheTablesIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(Way::tableStore), 60 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnySystemCallIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(Way::systemCall), 500 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, MayBeFollowedByAnotherOne) {
    for (const Death& second : {Death{.way = Way::asicStep, .from = Death::From::start, .at = 211},
                                {.way = Way::tableStore, .from = Death::From::start, .at = 23},
                                {.way = Way::systemCall, .from = Death::From::start, .at = 301}}) {
        SCOPED_TRACE("then " + second.name());
        EXPECT_GE(fallOverRuins(Way::asicStep, second, true), 5 * 300 / kSample / kStride);
    }
}

} // namespace
} // namespace LagAgent::Crash
