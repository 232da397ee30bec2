#pragma once

#include <functional>

#include "agent/Interpreter.h"
#include "agent/daemon/Log.h"

namespace LagAgent {

/// Carries out a client's lines on the daemon's agent, and sees to what must not pass in silence: a
/// handle that could not be recorded is logged; a desired state that could not be kept, while the
/// chip has changed, ends the daemon, since a restart brings the chip back to it.
class AgentRunner final : public CommandRunner {
  public:
    using Fail = std::function<void(const std::string& reason)>;

    /// `fail` must end the daemon after the answer. REQUIRES: all outlive this object.
    AgentRunner(Agent& agent, const Log& log, Fail fail)
        : agent_(agent), interpreter_(agent), log_(log), fail_(std::move(fail)) {}

    Outcome run(std::string_view line) override;
    std::optional<Error> atEnd() override { return interpreter_.atEnd(); }
    bool isOver() const override { return interpreter_.isOver(); }

  private:
    Agent& agent_;
    Interpreter interpreter_;
    const Log& log_;
    Fail fail_;
};

} // namespace LagAgent
