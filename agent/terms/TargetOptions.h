#pragma once

#include <string>
#include <vector>

#include "agent/terms/Target.h"

namespace CLI {
class App;
} // namespace CLI

namespace LagAgent {

/// Adds the options that say which chip to drive and what to trace. Both have to be there until the
/// line is parsed.
void addTarget(CLI::App& app, Target& target, std::vector<std::string>& traces);

} // namespace LagAgent
