#pragma once

#include <optional>

#include "agent/command/ChipMoment.h"
#include "agent/command/View.h"
#include "agent/restart/Comparison.h"
#include "agent/restart/PersistentState.h"

namespace LagAgent {

/// Audits a running agent: reads chip, records and desired state as they are at one moment between
/// two commands, and lets them be compared in a thread.
class AuditWork final : public Work {
  public:
    /// Says what an audit is to tell.
    using Show = void (*)(std::shared_ptr<const Audit> audit, Reply& reply);

    /// REQUIRES: the state and what there is to look at outlive this object.
    AuditWork(PersistentState& state, const View& view, Show show)
        : state_(state), show_(show),
          moment_(view.chip, view.configuration, [this] { readMemories(); }) {}

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
