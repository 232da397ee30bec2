#include <gtest/gtest.h>

#include <array>

#include "agent/desired/StateSchema.h"
#include "tests/agent/crash/CrashTest.h"
#include "tests/agent/crash/Spoilt.h"

/// What the death of an agent that starts over what another death left leaves to the next one.
namespace LagAgent::Crash {
namespace {

using Way = Death::Way;

/// Deaths that leave the next start something to do, each of its own kind.
constexpr std::array kFirstDeaths{
    Death{.way = Way::asicStep, .after = 21, .at = 8},
    Death{.way = Way::asicStep, .after = 3, .at = 18},
    Death{.way = Way::tableStore, .after = 18, .at = 4},
    Death{.way = Way::asicStep, .after = 11, .at = 1},
    Death{.way = Way::systemCall, .after = 26, .at = 20},
};
/// Every how many steps a start dies where each would take too long.
constexpr std::uint64_t kSample = 11;

class RestartDeath : public CrashTest {
  protected:
    /// What a start has to put right, and the models of which it must find one.
    struct Place {
        std::string name;
        StatePlace place;
        std::vector<Json> models;
        bool forwards = true;
    };

    std::vector<Place> places() {
        std::vector<Place> all;
        for (const Death& first : kFirstDeaths) {
            Ruin ruin = ruinOf(first);
            EXPECT_TRUE(ruin.isDeath);
            all.push_back({"after " + first.name(), std::move(ruin.place), ruin.models});
        }
        for (const Spoilt& difference : spoilt()) {
            all.push_back({"without " + difference.mended.front(), copy(), {models().front()}});
            difference.spoil(all.back().place);
        }
        all.push_back({"after a restore", copy(), {models().front()}});
        addAndRestore(all.back().place);
        all.push_back({"without records", copy(), {models().front()}});
        removeRecords(all.back().place);
        all.push_back({"without what was on the chip", copy(), {models().front()}, false});
        powerCycle(all.back().place);
        return all;
    }
    StatePlace copy() const { return StatePlace::copyOf(prepared()); }
    /// Leaves more objects to be removed than a command does, of which some are not recorded.
    static void addAndRestore(const StatePlace& place) {
        const std::string backup = place.file("backup");
        AgentProcess(place).runOut({"backup " + backup, "member add 50 action setLagPort port 50",
                                    "group add 50 size 4 initial 50 action setLagPort",
                                    "entry set value 0x50 mask 0xffffffff group 50"});
        std::filesystem::remove(place.file("groups"));
        restoreStateDatabase(Posix::StateDirectory(place.directory()), backup,
                             [](std::uint64_t) { return 100; });
    }

    std::uint64_t fallOverAll(Way way, std::uint64_t stride = kStride, const Death& second = {}) {
        std::uint64_t deaths = 0;
        for (const auto& [name, place, models, forwards] : places()) {
            SCOPED_TRACE(name);
            deaths += fallDuringStart(place, models, way, stride, second, forwards);
        }
        return deaths;
    }
};

TEST_F(RestartDeath, AtAnyStepOfTheAsicIsJustAnotherDeath) {
    EXPECT_GE(fallOverAll(Way::asicStep), 500 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnyStoreToTheTablesIsJustAnotherDeath) {
    EXPECT_GE(fallOverAll(Way::tableStore), 100 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, AtAnySystemCallIsJustAnotherDeath) {
    EXPECT_GE(fallOverAll(Way::systemCall, kStride * kSample), 500 / kSample / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(RestartDeath, MayBeFollowedByAnotherOne) {
    for (const Death& second : {Death{.way = Way::asicStep, .from = Death::From::start, .at = 9},
                                {.way = Way::tableStore, .from = Death::From::start, .at = 3},
                                {.way = Way::systemCall, .from = Death::From::start, .at = 301}}) {
        SCOPED_TRACE("then " + second.name());
        EXPECT_GE(fallOverAll(Way::asicStep, kStride * kSample, second), 500 / kSample / kStride);
    }
}

} // namespace
} // namespace LagAgent::Crash
