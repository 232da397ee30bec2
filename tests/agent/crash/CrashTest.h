#pragma once

#include <gtest/gtest.h>

#include "tests/agent/crash/AgentProcess.h"
#include "tests/agent/crash/Scenario.h"

namespace LagAgent::Crash {

/// Every how many steps a process is killed: at each, but where everything costs several times as
/// much.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr std::uint64_t kStride = 29;
#else
inline constexpr std::uint64_t kStride = 1;
#endif

/**
 * Deaths of an agent over two LAGs, and what the next start makes of them. A watcher looks on all
 * the time: no flow is ever without a port, or at one where it must not be.
 */
class CrashTest : public testing::Test {
  protected:
    explicit CrashTest(const ChipSize& size = {})
        : prepared_(preparedPlace(size)), models_(scenarioModels()) {}
    ~CrashTest() override;

    const StatePlace& prepared() const { return prepared_; }
    const std::vector<Json>& models() const { return models_; }

    /// What a death left.
    struct Ruin {
        StatePlace place;
        bool isDeath = false;
        /// The models of which the next start must find one: with or without the command that was
        /// under way.
        std::vector<Json> models{};
    };
    /// Lets an agent carry the scenario out so many times, from the prepared directory, and die.
    Ruin ruinOf(const Death& death, std::size_t times = 1);

    /// Starts an agent that must put everything right, with the writes that were foretold.
    void expectStart(const StatePlace& place, const std::vector<Json>& models);
    /// And then have it change and delete everything, over a copy of the directory.
    void expectWorksOnFrom(const StatePlace& place);

    /// Kills an agent at each step of that kind that each of the scenario's commands has, and its
    /// end, and starts another one each time; returns the number of deaths.
    std::uint64_t fallDuringScenario(Death::Way way);
    /// Kills the agent that starts over what is in a place at each, or every `stride`th, step that
    /// its start has, and starts another one each time; returns the number of deaths. With a second
    /// death the next start dies of that, and it is the third that must put everything right. Where
    /// the chip forwards nothing at first, flows are looked at afterwards.
    std::uint64_t fallDuringStart(const StatePlace& ruined, const std::vector<Json>& models,
                                  Death::Way way, std::uint64_t stride = kStride,
                                  const Death& second = {}, bool forwards = true);
    /// Lets an agent die as it starts; false when it started instead.
    bool isDeathOfStart(const StatePlace& place, const Death& death);

    /// Looks on while `body` runs.
    template <class Body>
    void watched(const StatePlace& place, Body&& body) {
        Watcher watcher(place, watchedLags());
        body(watcher);
        watcher.awaitSweep();
        expectNothingLost(watcher.end());
    }

    std::uint64_t lookups() const noexcept { return lookups_; }

  private:
    /// One death of the scenario and the start after it; false when the agent survived.
    bool isFall(const Death& death, std::uint64_t number);
    std::vector<Json> modelsAfter(std::size_t commands) const;
    void expectNothingLost(const Sightings& sightings);

    StatePlace prepared_;
    std::vector<Json> models_;
    std::uint64_t lookups_ = 0;
    std::uint64_t starts_ = 0;
};

} // namespace LagAgent::Crash
