#pragma once

#include <cstdint>
#include <string>

#include "BfLagGroup/LagGroupTableHelper.h"

namespace LagAgent {

/// What of the chips in the machine an agent's state is about. A state is of one scope for ever:
/// in another one it would leave its objects behind.
struct ChipScope {
    std::uint8_t device = 0;
    std::uint16_t pipe = BfLagGroup::LagGroupTableHelper::kAllPipes;
};

/// "device 0, pipe 1", "device 0, all pipes"; also of numbers that no scope has.
std::string scopeName(std::int64_t device, std::int64_t pipe);

} // namespace LagAgent
