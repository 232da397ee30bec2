#pragma once

#include "agent/command/Agent.h"
#include "agent/outcome/CommandRunner.h"

namespace LagAgent {

/// Carries out the command lines of one script on the agent of this process. There may be several
/// over one agent, which take turns line by line: what a script expects, and that it quit, are its
/// own.
class Interpreter final : public CommandRunner {
  public:
    explicit Interpreter(Agent& agent) : agent_(agent) {}

    Outcome run(std::string_view line, WantedCalls calls) override;
    std::vector<std::string> continuations(const std::vector<std::string>& words) override;
    /// The same in turns: the command may be under way when this returns.
    Outcome begin(std::string_view line, WantedCalls calls);
    void goOn(Outcome& outcome) override;
    std::optional<Error> atEnd() override;
    bool isOver() const noexcept override { return script_.isOver; }

  private:
    /// A turn of a command; the calls that it makes are added to `made`.
    template <class Part>
    void perform(Outcome& outcome, CallNumbers& made, Part part);
    void judge(const std::string& expected, Outcome& outcome) const;

    Agent& agent_;
    ScriptState script_{};
    // Of the latest command.
    std::optional<std::string> expected_{};
    WantedCalls wanted_ = WantedCalls::none;
};

} // namespace LagAgent
