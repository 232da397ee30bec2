#pragma once

#include "agent/daemon/Log.h"
#include "agent/outcome/CommandRunner.h"

namespace LagAgent {

/// Logs what went wrong with a command, if anything: a refused PD call, an internal error, or a
/// command that failed.
void logFailure(const Log& log, std::uint64_t client, const Outcome& outcome);

} // namespace LagAgent
