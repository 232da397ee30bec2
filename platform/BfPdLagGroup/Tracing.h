#pragma once

#include "framework/Trace.h"

namespace BfPdLagGroup {

/// The trace facility of the whole library, "BfLagGroup". It stands here, in the lowest layer that
/// traces.
extern Kel::TraceHandle traceHandle;

} // namespace BfPdLagGroup
