#pragma once

#include <optional>
#include <string_view>

#include "agent/Agent.h"
#include "agent/Errors.h"
#include "agent/Reply.h"

namespace LagAgent {

/// What came of one command line.
struct Outcome {
    /// The line's words, with single blanks and without a comment; empty for an empty line.
    std::string command{};
    Reply reply{};
    std::optional<Error> error{};
    /// The failure that the script had announced with 'expect error'.
    std::optional<Error> expectedError{};
    /// The PD calls that the command made, where the PD library records them.
    std::vector<PdCallRecord> calls{};
};

/// Carries out command lines. No line ends the process, and no exception leaves.
class Interpreter {
  public:
    explicit Interpreter(Agent& agent) : agent_(agent) {}

    Outcome run(std::string_view line);

    /// At the end of a script: the error that it announced and that did not come, if any.
    std::optional<Error> atEnd();

    bool isOver() const noexcept { return agent_.isOver; }

  private:
    void perform(const std::vector<std::string>& words, Outcome& outcome);
    void judge(const std::string& expected, Outcome& outcome) const;

    Agent& agent_;
};

} // namespace LagAgent
