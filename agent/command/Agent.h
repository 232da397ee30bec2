#pragma once

#include <memory>
#include <string>

#include "agent/command/View.h"
#include "agent/outcome/Progress.h"
#include "agent/restart/LateJoins.h"
#include "agent/restart/PersistentState.h"

namespace LagAgent {

class Retry;

/// Driver, chip and state, started: everything that commands work on.
class Agent {
  public:
    /// Starts the driver over an empty model and records no handles: what the agent knows ends with
    /// it. The configuration's changes are kept in the database, if one is given; it must outlive
    /// the agent. Throws what `Driver` does.
    explicit Agent(const Target& target, StateDatabase* desired = nullptr);

    /// Starts the driver over what an earlier run left in the state directory, and brings the chip
    /// to the desired state. Throws `Posix::StateException`, `CommandError`, and what a PD call
    /// throws. `progress` may be null.
    Agent(const Target& target, const StateOptions& options, Progress* progress);

    const PdLibrary& library() const noexcept { return *library_; }
    const AsicControl& asic() const noexcept { return *asic_; }
    const ChipTables& chip() const noexcept { return *chip_; }
    Driver& driver() const noexcept { return *driver_; }
    Configuration& configuration() const noexcept { return *configuration_; }
    Flows& flows() const noexcept { return *flows_; }
    /// How the start went; empty for an agent that keeps nothing.
    const StartReport& start() const noexcept { return start_; }
    /// Throws `CommandError` (unsupported) where the agent keeps nothing.
    PersistentState& requiredState() const;

    /// What there is to look at for a script. REQUIRES: both outlive the view.
    View view(const ScriptState& script) const;

    /// What has happened to the agent's chip or files behind its back, and was found by a command;
    /// empty: nothing. For good, once there is something.
    const std::string& harm() const noexcept { return harm_; }
    /// Looks for such harm. Throws `CommandError` (storage) when there is some: nothing is carried
    /// out, or acknowledged, from then on.
    void requireUnharmed();

  private:
    void openChip(const Target& target);
    void begin(const char* phase, Progress* progress);
    StatefulChip statefulChip(const StateOptions& options, const Target& target, Retry& retry,
                              Progress* progress);
    void startDriver(const Target& target, Retry& retry);

    // What is used outlives its users: it stands before them.
    std::unique_ptr<PdLibrary> library_;
    std::unique_ptr<AsicControl> asic_;
    std::unique_ptr<ChipTables> chip_;
    std::unique_ptr<Flows> flows_;
    std::unique_ptr<PersistentState> state_; // null for an agent that keeps nothing
    std::unique_ptr<Driver> driver_;
    std::unique_ptr<Configuration> configuration_;
    LateJoins lateJoins_; // of the driver
    StartReport start_;
    std::string harm_;
};

} // namespace LagAgent
