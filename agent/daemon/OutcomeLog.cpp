#include "agent/daemon/OutcomeLog.h"

namespace LagAgent {

namespace {

/// A line of the log stays short, whatever was sent.
std::string shortened(const std::string& text) {
    constexpr std::size_t kLongest = 500;
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

/// What is wrong with the daemon or its disk weighs more than a client's mistake.
LogLevel levelOf(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::internal:
        return LogLevel::error;
    case ErrorKind::storage:
        return LogLevel::warning;
    default:
        return LogLevel::info;
    }
}

} // namespace

void logFailure(const Log& log, std::uint64_t client, const Outcome& outcome) {
    // That a script expected the chip's refusal does not make it one less.
    const auto& error = outcome.error ? outcome.error : outcome.expectedError;
    if (!error) {
        return;
    }
    const std::string command = shortened(outcome.command);
    const std::string message = shortened(error->message);
    if (error->status) {
        log.write(LogLevel::warning, "pd-call-refused",
                  {{"client", client},
                   {"command", command},
                   {"function", error->function},
                   {"status", *error->status},
                   {"message", message}});
        return;
    }
    log.write(levelOf(error->kind),
              error->kind == ErrorKind::internal ? "internal-error" : "command-failed",
              {{"client", client},
               {"command", command},
               {"kind", kindName(error->kind)},
               {"message", message}});
}

} // namespace LagAgent
