#pragma once

#include <atomic>
#include <cstdint>
#include <ostream>
#include <set>
#include <vector>

#include "tests/agent/crash/ChildProcess.h"
#include "tests/agent/crash/SharedPage.h"
#include "tests/agent/crash/StatePlace.h"

namespace LagAgent::Crash {

/// Flows that must always get through.
struct WatchedLag {
    std::uint32_t value;
    /// Where they may go.
    std::set<std::uint16_t> ports;
    /// Where they must not, being the ports of inactive members.
    std::set<std::uint16_t> inactive;
};

/// What a watcher saw. All but the first must stay 0.
struct Sightings {
    std::uint64_t lookups = 0;
    std::uint64_t withoutPort = 0;
    std::uint64_t wrongPort = 0;
    std::uint64_t inactive = 0;

    bool isGood() const noexcept {
        return lookups != 0 && withoutPort == 0 && wrongPort == 0 && inactive == 0;
    }
};
std::ostream& operator<<(std::ostream& out, const Sightings& sightings);

/// A process that asks a chip, without pause, for the ports of many flows of each LAG.
class Watcher {
  public:
    /// Returns when the first sweep over all the flows is done.
    Watcher(const StatePlace& place, const std::vector<WatchedLag>& lags);

    /// Waits for a sweep that begins after this call.
    void awaitSweep();
    Sightings end();

  private:
    struct Counts {
        std::atomic<std::uint64_t> sweeps, lookups, withoutPort, wrongPort, inactive;
        std::atomic<bool> isOver;
    };

    static void watch(const StatePlace& place, const std::vector<WatchedLag>& lags, Counts& counts);
    static void look(const WatchedLag& lag, std::uint32_t flow, Counts& counts);
    void awaitSweeps(std::uint64_t sweeps);

    SharedPage<Counts> counts_;
    ChildProcess child_;
};

} // namespace LagAgent::Crash
