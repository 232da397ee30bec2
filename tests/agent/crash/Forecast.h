#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/agent/crash/AgentProcess.h"

namespace LagAgent::Crash {

/// What a start over a place will write to the chip.
struct Forecast {
    /// The number of its first PD call.
    std::uint64_t firstCall = 0;
    /// The PD functions, in order, with the one of every start.
    std::vector<std::string> writes{};
};

/// Made from a copy of the place, which stays as it is.
Forecast forecastOf(const StatePlace& place);

/// What an agent has written to the chip from that call on, by the chip's own log.
std::vector<std::string> writesFrom(AgentProcess& agent, std::uint64_t firstCall);

} // namespace LagAgent::Crash
