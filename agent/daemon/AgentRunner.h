#pragma once

#include "agent/command/Interpreter.h"
#include "agent/daemon/Log.h"

namespace LagAgent {

/// Carries out a client's lines on the daemon's agent, and logs what must not pass in silence: a
/// handle that could not be recorded.
class AgentRunner final : public CommandRunner {
  public:
    /// REQUIRES: both outlive this object.
    AgentRunner(Agent& agent, const Log& log) : agent_(agent), interpreter_(agent), log_(log) {}

    /// A command that takes long is under way then.
    Outcome run(std::string_view line, WantedCalls calls) override;
    std::vector<std::string> continuations(const std::vector<std::string>& words) override {
        return interpreter_.continuations(words);
    }
    void goOn(Outcome& outcome) override { interpreter_.goOn(outcome); }
    std::optional<Error> atEnd() override { return interpreter_.atEnd(); }
    bool isOver() const override { return interpreter_.isOver(); }

  private:
    Agent& agent_;
    Interpreter interpreter_;
    const Log& log_;
};

} // namespace LagAgent
