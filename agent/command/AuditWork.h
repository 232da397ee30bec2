#pragma once

#include <optional>

#include "agent/command/Agent.h"
#include "agent/command/ChipMoment.h"
#include "agent/restart/Comparison.h"

namespace LagAgent {

/// Audits a running agent: reads chip, records and desired state as they are at one moment between
/// two commands, and lets them be compared in a thread.
class AuditWork final : public Work {
  public:
    /// Says what an audit is to tell.
    using Show = void (*)(std::shared_ptr<const Audit> audit, Reply& reply);

    /// REQUIRES: the agent keeps a state, and outlives this object.
    AuditWork(Agent& agent, Show show)
        : state_(agent.requiredState()), show_(show),
          moment_(agent.chip, agent.configuration, [this] { readMemories(); }) {}

    bool goOn(Reply& reply) override;
    int waitsFor() const override { return comparison_ ? comparison_->done() : -1; }

  private:
    void readMemories();

    PersistentState& state_;
    Show show_;
    Situation situation_{};
    std::optional<SqliteConnection> desired_{};
    ChipMoment moment_;
    std::optional<Comparison> comparison_{};
};

} // namespace LagAgent
