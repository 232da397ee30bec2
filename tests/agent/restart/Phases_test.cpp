#include "agent/restart/Phases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace LagAgent {
namespace {

using std::chrono::milliseconds;

std::vector<std::string> namesOf(const Phases& phases) {
    std::vector<std::string> names;
    for (const auto& phase : phases.all()) {
        names.emplace_back(phase.name);
    }
    return names;
}

TEST(Phases, StandInTheOrderInWhichTheyFirstCame) {
    Phases phases;
    for (const char* name : {"one", "two", "two", "one", "three"}) {
        phases.begin(name);
    }
    EXPECT_THAT(namesOf(phases), testing::ElementsAre("one", "two", "three"));
}

TEST(Phases, TimeCountsForThePhaseUnderWayAlone) {
    Phases phases;
    phases.begin("one");
    std::this_thread::sleep_for(milliseconds(20));
    const auto beforeTwo = Phases::Clock::now();
    phases.begin("two");
    phases.begin("one");
    phases.end();
    EXPECT_GE(phases.all()[0].time, milliseconds(20));
    EXPECT_LE(phases.all()[1].time, Phases::Clock::now() - beforeTwo);
}

TEST(Phases, TimeAfterTheEndCountsForNone) {
    Phases phases;
    phases.begin("one");
    phases.end();
    const auto first = phases.all()[0].time;
    std::this_thread::sleep_for(milliseconds(20));
    const auto beforeSecond = Phases::Clock::now();
    phases.begin("one");
    phases.end();
    EXPECT_LE(phases.all()[0].time - first, Phases::Clock::now() - beforeSecond);
}

} // namespace
} // namespace LagAgent
