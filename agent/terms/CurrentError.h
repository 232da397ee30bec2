#pragma once

#include "agent/outcome/Errors.h"

namespace LagAgent {

/// Describes the exception being handled, whatever the driver, the state's files or the agent
/// threw. REQUIRES: called in a handler.
Error currentError();

} // namespace LagAgent
