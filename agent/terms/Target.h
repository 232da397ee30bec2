#pragma once

#include <cstdint>
#include <string>

#include "BfLagGroup/LagGroupTableHelper.h"

namespace LagAgent {

/// Which chip the driver works on.
struct Target {
    std::string pdPath{};
    std::uint8_t device = 0;
    std::uint16_t pipe = BfLagGroup::LagGroupTableHelper::kAllPipes;
};

} // namespace LagAgent
