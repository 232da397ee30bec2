#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/agent/crash/StatePlace.h"

namespace LagAgent::Crash {

// What makes the memories of a prepared place differ, behind the agent's back. No agent is running.

/// A difference on the chip that no flow notices, or that leaves each one a port.
struct Spoilt {
    std::function<void(const StatePlace& place)> spoil;
    /// The PD writes that mend it, without what all their names begin with.
    std::vector<std::string> mended;
};
/// The last one takes the inactive member out of its group.
std::vector<Spoilt> spoilt();

void removeRecords(const StatePlace& place);
/// The chip is empty then.
void powerCycle(const StatePlace& place);

} // namespace LagAgent::Crash
