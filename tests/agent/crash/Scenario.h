#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/outcome/Reply.h"
#include "tests/agent/crash/StatePlace.h"
#include "tests/agent/crash/Watcher.h"

namespace LagAgent::Crash {

/// Makes two LAGs: 10 of ports 1 and 2, 20 of ports 3 and 4, of which 4 is inactive; entries 0x10
/// and 0x20 point at them.
const std::vector<std::string>& setUpCommands();
/// Changes things around the LAGs, and the LAGs themselves, in every way that leaves each flow a
/// port; some are refused, by the agent or by the chip. They end where they began.
const std::vector<std::string>& scenarioCommands();
/// Where the LAGs' flows may go meanwhile.
const std::vector<WatchedLag>& watchedLags();

/// A chip's room.
struct ChipSize {
    std::uint32_t groups = 16;
};

/// A state directory in which an agent has set the LAGs up and ended.
StatePlace preparedPlace(const ChipSize& size = {});

/// Members, groups and entries, as far as they are to outlive the process that knows them.
Json modelOf(const Json& shown);
/// The model after each number of the scenario's commands, as an agent without restarts has it.
std::vector<Json> scenarioModels();

} // namespace LagAgent::Crash
