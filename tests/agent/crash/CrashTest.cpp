#include "tests/agent/crash/CrashTest.h"

#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/Forecast.h"

namespace LagAgent::Crash {

namespace {

/// Every so many starts the agent must do more than to be right.
constexpr std::uint64_t kWorkOn = 8;

std::vector<std::string> scenarioTimes(std::size_t times) {
    std::vector<std::string> commands;
    for (; times != 0; --times) {
        commands.insert(commands.end(), scenarioCommands().begin(), scenarioCommands().end());
    }
    return commands;
}

} // namespace

CrashTest::~CrashTest() {
    RecordProperty("lookups", std::to_string(lookups_));
    RecordProperty("starts", std::to_string(starts_));
}

std::vector<Json> CrashTest::modelsAfter(std::size_t commands) const {
    // It ends where it began.
    const std::size_t done = commands % scenarioCommands().size();
    return {models_[done], models_[done + 1]};
}

void CrashTest::expectNothingLost(const Sightings& sightings) {
    EXPECT_TRUE(sightings.isGood()) << sightings;
    lookups_ += sightings.lookups;
}

CrashTest::Ruin CrashTest::ruinOf(const Death& death, std::size_t times) {
    Ruin ruin{StatePlace::copyOf(prepared_)};
    SCOPED_TRACE(death.name());
    watched(ruin.place, [&](Watcher&) {
        const LastWords words = AgentProcess(ruin.place, death).runOut(scenarioTimes(times));
        ruin.isDeath = words.wasKilled;
        ruin.models = modelsAfter(words.answers.size());
        EXPECT_EQ("", words.start.value_or(Answer{}).error);
    });
    return ruin;
}

void CrashTest::expectStart(const StatePlace& place, const std::vector<Json>& models) {
    const Forecast forecast = forecastOf(place);
    AgentProcess agent(place);
    ASSERT_EQ("", agent.startError());
    EXPECT_EQ(forecast.writes, writesFrom(agent, forecast.firstCall));
    expectWhole(agent);
    expectModel(agent, models);
    ++starts_;
}

void CrashTest::expectWorksOnFrom(const StatePlace& place) {
    const StatePlace copy = StatePlace::copyOf(place);
    AgentProcess agent(copy);
    ASSERT_EQ("", agent.startError());
    expectWorksOn(agent);
}

bool CrashTest::isFall(const Death& death, std::uint64_t number) {
    const StatePlace place = StatePlace::copyOf(prepared_);
    SCOPED_TRACE(death.name());
    bool isDeath = false;
    watched(place, [&](Watcher& watcher) {
        const LastWords words = AgentProcess(place, death).runOut(scenarioCommands());
        isDeath = words.wasKilled;
        EXPECT_EQ("", words.start.value_or(Answer{"it did not start"}).error);
        EXPECT_GE(words.answers.size(), death.after);
        SCOPED_TRACE(std::to_string(words.answers.size()) + " commands acknowledged");
        watcher.awaitSweep();
        expectStart(place, modelsAfter(words.answers.size()));
    });
    if (number % kWorkOn == 0) {
        expectWorksOnFrom(place);
    }
    return isDeath;
}

std::uint64_t CrashTest::fallDuringScenario(Death::Way way) {
    std::uint64_t deaths = 0;
    for (std::size_t after = 0; after <= scenarioCommands().size(); ++after) {
        // Where only some steps are tried, not the first of each.
        std::uint64_t at = 1 + after * 7 % kStride;
        while (!HasFailure() && isFall({.way = way, .after = after, .at = at}, deaths)) {
            ++deaths;
            at += kStride;
        }
    }
    return deaths;
}

bool CrashTest::isDeathOfStart(const StatePlace& place, const Death& death) {
    const LastWords words = AgentProcess(place, death).runOut({});
    EXPECT_EQ("", words.start.value_or(Answer{}).error);
    return words.wasKilled;
}

std::uint64_t CrashTest::fallDuringStart(const StatePlace& ruined, const std::vector<Json>& models,
                                         Death::Way way, std::uint64_t stride, const Death& second,
                                         bool forwards) {
    std::uint64_t deaths = 0;
    for (bool isDeath = true; isDeath && !HasFailure();) {
        const Death death{.way = way, .from = Death::From::start, .at = 1 + deaths * stride};
        const StatePlace place = StatePlace::copyOf(ruined);
        SCOPED_TRACE(death.name());
        const auto fallAndStart = [&](const std::function<void()>& awaitSweep) {
            isDeath = isDeathOfStart(place, death);
            awaitSweep();
            if (second.way != Death::Way::none) {
                isDeathOfStart(place, second); // unless little is left to be done
                awaitSweep();
            }
            expectStart(place, models);
        };
        if (forwards) {
            watched(place, [&](Watcher& watcher) { fallAndStart([&] { watcher.awaitSweep(); }); });
        } else {
            fallAndStart([] {});
            watched(place, [](Watcher&) {});
        }
        deaths += isDeath;
    }
    return deaths;
}

} // namespace LagAgent::Crash
