#include <gtest/gtest.h>

#include <array>

#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/CrashTest.h"

/// What the death of an agent that starts over what another death left leaves to the next one.
namespace LagAgent::Crash {
namespace {

using Way = Death::Way;

/// First deaths that leave the next start much to do, each of its own kind.
constexpr std::array kFirstDeaths{
    Death{.way = Way::asicStep, .at = 150},   Death{.way = Way::asicStep, .at = 333},
    Death{.way = Way::tableStore, .at = 90},  Death{.way = Way::asicStep, .at = 520},
    Death{.way = Way::systemCall, .at = 901},
};

class RestartDeath : public CrashTest {
  protected:
    std::uint64_t fallOverRuins(std::size_t count, Way way) {
        std::uint64_t deaths = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Ruin ruin = ruinOf(kFirstDeaths.at(i));
            EXPECT_TRUE(ruin.isDeath);
            SCOPED_TRACE("after " + kFirstDeaths.at(i).name());
            deaths += fallDuringStart(ruin, way);
        }
        return deaths;
    }
};

TEST_F(RestartDeath, AtAnyStepOfTheAsicIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(kFirstDeaths.size(), Way::asicStep), 100 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnyStoreToTheTablesIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(kFirstDeaths.size(), Way::tableStore), 100 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnySystemCallIsJustAnotherDeath) {
    EXPECT_GE(fallOverRuins(2, Way::systemCall), 300 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

} // namespace
} // namespace LagAgent::Crash
