#include "tests/agent/crash/Watcher.h"

#include <chrono>
#include <thread>

#include "tests/agent/crash/AsicLibrary.h"

namespace LagAgent::Crash {

namespace {

/// As many flows of a LAG as make it certain that every active member has some.
constexpr std::uint32_t kFlows = 64;

} // namespace

std::ostream& operator<<(std::ostream& out, const Sightings& sightings) {
    return out << sightings.lookups << " lookups, " << sightings.withoutPort << " without port, "
               << sightings.wrongPort << " at a wrong port, " << sightings.inactive
               << " at an inactive member";
}

Watcher::Watcher(const StatePlace& place, const std::vector<WatchedLag>& lags)
    : child_([&] {
          watch(place, lags, *counts_);
          return 0;
      }) {
    awaitSweeps(1);
}

void Watcher::watch(const StatePlace& place, const std::vector<WatchedLag>& lags, Counts& counts) {
    callAsic<decltype(::velmor_asic_chip_attach)>("velmor_asic_chip_attach", 0,
                                                  place.chip().c_str(), nullptr);
    while (!counts.isOver) {
        for (const WatchedLag& lag : lags) {
            for (std::uint32_t flow = 0; flow < kFlows; ++flow) {
                look(lag, flow, counts);
            }
        }
        ++counts.sweeps;
        // The processors are for who is watched, too.
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
}

void Watcher::look(const WatchedLag& lag, std::uint32_t flow, Counts& counts) {
    static auto* const forward =
        asicFunction<decltype(::velmor_asic_forward)>("velmor_asic_forward");
    velmor_asic_result_t result{};
    const auto status = forward(0, 0, lag.value, flow * 0x9e3779b9u, &result);
    ++counts.lookups;
    if (status != 0 || result.outcome != VELMOR_ASIC_FORWARDED ||
        result.action != P4_PD_ACTION_setLagPort) {
        ++counts.withoutPort;
    } else if (lag.inactive.contains(result.port)) {
        ++counts.inactive;
    } else if (!lag.ports.contains(result.port)) {
        ++counts.wrongPort;
    }
}

void Watcher::awaitSweeps(std::uint64_t sweeps) {
    while (counts_->sweeps < sweeps) {
        if (!child_.isRunning()) {
            throw std::runtime_error("the watcher's process ended");
        }
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
}

void Watcher::awaitSweep() {
    // One may be under way.
    awaitSweeps(counts_->sweeps + 2);
}

Sightings Watcher::end() {
    counts_->isOver = true;
    child_.wait();
    return {counts_->lookups, counts_->withoutPort, counts_->wrongPort, counts_->inactive};
}

} // namespace LagAgent::Crash
