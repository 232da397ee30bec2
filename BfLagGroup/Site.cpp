#include "BfLagGroup/Site.h"

namespace BfLagGroup {

Kel::TraceHandle traceHandle("BfLagGroup", false);

void writeEntryTrace(const Site& site, Kel::U32 line) {
    std::optional<Kel::TraceHelper> buffer;
    if (auto* helper = Kel::TraceHelper::createIfEnabled(traceHandle, kEntryLevel, buffer)) {
        Kel::EnsureTraceHelperIsDestroyed scope(buffer);
        helper->stream() << site.signature;
        helper->trace(kSource, line, site.name);
    }
}

} // namespace BfLagGroup
