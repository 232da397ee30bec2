#include "BfLagGroup/Site.h"

namespace BfLagGroup {

Kel::TraceHandle traceHandle("BfLagGroup", false);

} // namespace BfLagGroup
