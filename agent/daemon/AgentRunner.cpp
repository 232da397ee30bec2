#include "agent/daemon/AgentRunner.h"

namespace LagAgent {

Outcome AgentRunner::run(std::string_view line, WantedCalls calls) {
    Outcome outcome = interpreter_.begin(line, calls);
    if (const auto failure = agent_.requiredState().takeFailure()) {
        log_.write(LogLevel::error, "not-recorded",
                   {{"command", outcome.command}, {"message", *failure}});
    }
    return outcome;
}

} // namespace LagAgent
