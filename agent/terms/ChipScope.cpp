#include "agent/terms/ChipScope.h"

namespace LagAgent {

std::string scopeName(std::int64_t device, std::int64_t pipe) {
    const bool isAll = pipe == BfLagGroup::LagGroupTableHelper::kAllPipes;
    return "device " + std::to_string(device) + ", " +
           (isAll ? "all pipes" : "pipe " + std::to_string(pipe));
}

} // namespace LagAgent
