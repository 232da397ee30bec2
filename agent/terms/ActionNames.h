#pragma once

#include <string>
#include <vector>

namespace LagAgent {

/// The actions as people write them, in the order of `LagGroupActionProfileType` and of
/// P4_PD_ACTION_*.
const std::vector<std::string>& actionNames();

} // namespace LagAgent
