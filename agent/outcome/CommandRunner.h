#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/outcome/Errors.h"
#include "agent/outcome/PdCallRecord.h"
#include "agent/outcome/Reply.h"

namespace LagAgent {

/// What came of one command line.
struct Outcome {
    /// The line's words, with single blanks and without a comment; empty for an empty line.
    std::string command{};
    Reply reply{};
    std::optional<Error> error{};
    /// The failure that the script had announced with 'expect error'.
    std::optional<Error> expectedError{};
    /// The PD calls that the command made, where they are wanted and the PD library records them.
    std::vector<PdCallRecord> calls{};

    /// The command has begun, and has more to do before there is anything to be read.
    bool isUnderWay() const noexcept { return reply.work() != nullptr; }
};

/// The PD calls that an outcome is to have. Their texts cost more than most commands.
enum class WantedCalls { none, all };

/// Carries out the command lines of one script, wherever the driver is. No line ends the process,
/// and no exception leaves.
class CommandRunner {
  public:
    CommandRunner() = default;
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;
    virtual ~CommandRunner() = default;

    virtual Outcome run(std::string_view line, WantedCalls calls) = 0;

    /// Does more of a command that is under way when `run` returns, as it is of runners that say
    /// so. REQUIRES: no other line was carried out since.
    virtual void goOn(Outcome&) {}

    /// The words that may follow these in a command line, as far as they can be listed; none where
    /// that is not known.
    virtual std::vector<std::string> continuations(const std::vector<std::string>&) { return {}; }

    /// At the end of a script: the error that it announced and that did not come, if any.
    virtual std::optional<Error> atEnd() = 0;

    /// After 'quit', and when no further line can be carried out.
    virtual bool isOver() const = 0;
};

} // namespace LagAgent
