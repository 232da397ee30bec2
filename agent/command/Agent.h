#pragma once

#include <memory>
#include <optional>

#include "agent/chip/AsicControl.h"
#include "agent/chip/ChipTables.h"
#include "agent/chip/Flows.h"
#include "agent/model/Configuration.h"
#include "agent/outcome/Progress.h"
#include "agent/restart/LateJoins.h"
#include "agent/restart/PersistentState.h"
#include "agent/restart/Retry.h"
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

/// Everything that a command works on.
class Agent {
  public:
    /// Starts the driver over an empty model and records no handles: what the agent knows ends with
    /// it. The configuration's changes are kept in the database, if one is given; it must outlive
    /// the agent. Throws what `Driver` does.
    explicit Agent(const Target& target, StateDatabase* desired = nullptr)
        : Agent(target, nullptr, desired, nullptr) {}

    /// Starts the driver over what an earlier run left in the state directory, and brings the chip
    /// to the desired state. Throws `Posix::StateException`, `CommandError`, and what a PD call
    /// throws. `progress` may be null.
    Agent(const Target& target, const StateOptions& options, Progress* progress)
        : Agent(target, &options, nullptr, progress) {}

  private:
    Progress* progress_; // of the start
    Retry retry_;

  public:
    // Each is made with those above it: the order is that of the start.
    PdLibrary library;
    AsicControl asic;
    ChipTables chip;
    /// How the start went; empty for an agent that keeps nothing.
    StartReport start{};
    /// Null for an agent that keeps nothing.
    std::unique_ptr<PersistentState> state;
    /// The same; throws `CommandError` (unsupported) where it is null.
    PersistentState& requiredState() const;
    /// What has happened to the agent's chip or files behind its back, and was found by a command;
    /// empty: nothing. For good, once there is something.
    const std::string& harm() const noexcept { return harm_; }
    /// Looks for such harm. Throws `CommandError` (storage) when there is some: nothing is carried
    /// out, or acknowledged, from then on.
    void requireUnharmed();
    Driver driver;
    Configuration configuration;
    Flows flows;
    /// Of the script whose line is being carried out.
    ScriptState script{};

  private:
    Agent(const Target& target, const StateOptions* options, StateDatabase* desired,
          Progress* progress);
    void begin(const char* phase);
    std::unique_ptr<PersistentState> openState(const StateOptions& options, const Target& target);
    MbbGlimtKey::GlimtKeyManager::Ptr keyManager() const;
    Driver startDriver(const Target& target);

    std::string harm_;
    LateJoins lateJoins_; // of the driver
};

} // namespace LagAgent
