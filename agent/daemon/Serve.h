#pragma once

#include "agent/daemon/ServeOptions.h"
#include "agent/outcome/ExitStatus.h"

namespace LagAgent {

/// Runs the daemon: takes the control socket, starts the agent, and carries out what clients ask
/// for, until SIGTERM or SIGINT. The chip is then left as it is: the agent's objects live to the
/// end of the process, and no destructor of theirs runs. Returns the exit status; what goes wrong
/// is in the log on standard error. REQUIRES: called once in a process.
int serve(const ServeOptions& options);

} // namespace LagAgent
