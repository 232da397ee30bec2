#include "tests/agent/crash/CrashTest.h"

#include "tests/agent/crash/Checks.h"

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
    AgentProcess agent(place);
    ASSERT_EQ("", agent.startError());
    expectWhole(agent);
    expectModel(agent, models);
    ++starts_;
}

std::uint64_t CrashTest::fallDuringScenario(Death::Way way, std::uint64_t stride) {
    std::uint64_t deaths = 0;
    for (std::uint64_t at = 1; !HasFailure(); at += stride) {
        const Death death{.way = way, .from = Death::From::commands, .at = at};
        const StatePlace place = StatePlace::copyOf(prepared_);
        LastWords words;
        watched(place, [&](Watcher& watcher) {
            words = AgentProcess(place, death).runOut(scenarioCommands());
            SCOPED_TRACE(death.name() + ", " + std::to_string(words.answers.size()) +
                         " acknowledged");
            watcher.awaitSweep();
            expectStart(place, modelsAfter(words.answers.size()));
        });
        if (!words.wasKilled) {
            EXPECT_EQ(scenarioCommands().size(), words.answers.size());
            break;
        }
        ++deaths;
    }
}

bool CrashTest::isDeathOfStart(const StatePlace& place, const Death& death) {
    const LastWords words = AgentProcess(place, death).runOut({});
    EXPECT_EQ("", words.start.value_or(Answer{}).error);
    return words.wasKilled;
}

std::uint64_t CrashTest::fallDuringStart(const Ruin& ruin, Death::Way way, std::uint64_t stride) {
    std::uint64_t deaths = 0;
    for (std::uint64_t at = 1; !HasFailure(); at += stride) {
        const Death death{.way = way, .from = Death::From::start, .at = at};
        const StatePlace place = StatePlace::copyOf(ruin.place);
        SCOPED_TRACE(death.name());
        bool isDeath = false;
        watched(place, [&](Watcher& watcher) {
            isDeath = isDeathOfStart(place, death);
            watcher.awaitSweep();
            expectStart(place, ruin.models);
        });
        if (!isDeath) {
            break;
        }
        ++deaths;
    }
}

} // namespace LagAgent::Crash
