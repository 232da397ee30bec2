#pragma once

#include <string>
#include <vector>

#include "agent/terms/Target.h"
#include "programs/OptionParser.h"

namespace LagAgent {

/// Adds the options that say which chip to drive and what to trace. Both have to be there until the
/// line is parsed.
void addTarget(Programs::OptionParser& parser, Target& target, std::vector<std::string>& traces);

} // namespace LagAgent
