#pragma once

#include <optional>

#include "agent/AsicControl.h"
#include "agent/ChipTables.h"
#include "agent/Configuration.h"
#include "agent/Flows.h"

namespace LagAgent {

/// What a script expects of a command to come, and what it can look at of the one before.
struct ScriptState {
    /// The next command must fail with a message that contains this.
    std::optional<std::string> expectedError{};
    /// The PD calls of the latest command that was no 'expect': their numbers in the ASIC's log.
    std::uint64_t callsBegin = 0;
    std::uint64_t callsEnd = 0;
    /// Set by 'quit'.
    bool isOver = false;
};

/// Everything that a command works on.
class Agent {
  public:
    /// Starts the driver; throws what `Driver` does.
    explicit Agent(const Target& target)
        : driver(target), configuration(driver), chip(driver), asic(driver.library()), flows(asic) {
    }

    Driver driver;
    Configuration configuration;
    ChipTables chip;
    AsicControl asic;
    Flows flows;
    /// Of the script whose line is being carried out.
    ScriptState script{};
};

} // namespace LagAgent
