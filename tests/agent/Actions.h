#pragma once

#include "BfLagGroup/LagGroupActionSpecs.h"

namespace LagAgent {

using ActionType = BfLagGroup::LagGroupActionProfileType;

inline constexpr ActionType kSetLagPort = ActionType::setLagPortActionProfileSpec;
inline constexpr ActionType kSetTunnelInfo = ActionType::setTunnelInfoActionProfileSpec;

} // namespace LagAgent
