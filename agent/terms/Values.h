#pragma once

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "agent/terms/DesiredState.h"

// The driver's values, made from the agent's.

namespace LagAgent {

BfLagGroup::LagGroupBaseActionProfileSpec::Ptr
makeAction(BfLagGroup::LagGroupActionProfileType type, std::uint16_t port);

/// A new match-spec object with the fields of the key.
BfLagGroup::LagGroupMatchSpec::PtrConst makeMatch(const MatchKey& key);

} // namespace LagAgent
