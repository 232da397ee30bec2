#include "agent/restart/Audit.h"

#include "agent/restart/Mending.h"
#include "agent/restart/Removals.h"

namespace LagAgent {

Audit audit(Situation situation) {
    Identified identified = identify(situation);
    Audit result;
    ChipWriter forecast(nullptr, situation.chip,
                        [&](const char* operation, const std::string& object, std::size_t finding) {
                            result.writes.push_back({operation, object, finding});
                            ++identified.findings[finding].writes;
                        });
    Mending mending(situation.desired, identified, forecast, nullptr);
    result.obstacle = mending.obstacle();
    if (result.obstacle.empty()) {
        result.obstacle = tooManyRemovals(identified, situation);
        mending.run();
    }
    result.findings = std::move(identified.findings);
    return result;
}

Listing listingOf(std::shared_ptr<const std::vector<Finding>> findings, std::size_t count) {
    return {{"finding", "object", "detail", "writes"}, count, [findings](std::size_t row) {
                const Finding& finding = (*findings)[row];
                return Cells{nameOf(finding.kind), finding.object, finding.detail, finding.writes};
            }};
}

void showFindings(std::shared_ptr<const Audit> audit, Reply& reply) {
    const auto& [findings, writes, obstacle] = *audit;
    reply.add("findings", listingOf({audit, &findings}, findings.size()));
    reply.add("writes", writes.size(), "writes: " + std::to_string(writes.size()) + "\n");
    if (!obstacle.empty()) {
        reply.add("obstacle", obstacle, "a restart would be refused: " + obstacle + "\n");
    }
}

void showSteps(std::shared_ptr<const Audit> audit, Reply& reply) {
    reply.add("steps", Listing({"operation", "object", "mends"}, audit->writes.size(),
                               [audit](std::size_t row) {
                                   const PdWrite& write = audit->writes[row];
                                   const Finding& finding = audit->findings[write.finding];
                                   return Cells{write.operation, write.object,
                                                nameOf(finding.kind) + (": " + finding.object)};
                               }));
}

} // namespace LagAgent
