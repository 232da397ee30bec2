#pragma once

#include <optional>
#include <string>

#include "agent/chip/AsicControl.h"
#include "agent/chip/ChipTables.h"
#include "agent/chip/Flows.h"
#include "agent/model/Configuration.h"
#include "agent/restart/StartReport.h"

namespace LagAgent {

/// What a script expects of a command to come, and what it can look at of the one before.
struct ScriptState {
    /// The next command must fail with a message that contains this.
    std::optional<std::string> expectedError{};
    /// The PD calls of the latest command that was no 'expect'.
    CallNumbers calls{};
    /// Set by 'quit'.
    bool isOver = false;
};

/// Said where something is asked of an agent without a state.
inline constexpr const char* kKeepsNothing =
    "this agent keeps no state over restarts: run it with 'serve'";

/// All that a command can look at.
struct View {
    const Driver& driver;
    const Configuration& configuration;
    const ChipTables& chip;
    const AsicControl& asic;
    const Flows& flows;
    /// How the start went; null for an agent that keeps nothing.
    const StartReport* start;
    const ScriptState& script;
};

} // namespace LagAgent
