#include "agent/daemon/AgentRunner.h"

namespace LagAgent {

Outcome AgentRunner::run(std::string_view line) {
    Outcome outcome = interpreter_.run(line);
    if (const auto failure = agent_.requiredState().takeFailure()) {
        log_.write(LogLevel::error, "not-recorded",
                   {{"command", outcome.command}, {"message", *failure}});
    }
    if (agent_.configuration.isOutOfStep()) {
        fail_("the desired state could not be kept");
    }
    return outcome;
}

} // namespace LagAgent
