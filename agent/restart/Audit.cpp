#include "agent/restart/Audit.h"

#include "agent/restart/Mending.h"

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
        result.obstacle = unexplainedRemovals(identified, situation.isNew);
        mending.run();
    }
    result.findings = std::move(identified.findings);
    return result;
}

std::string unexplainedRemovals(const Identified& identified, bool isNew) {
    constexpr std::size_t kMostNamed = 10;
    const auto& objects = identified.unexplained;
    const std::size_t explicable = isNew ? 0 : 1;
    if (objects.size() <= explicable) {
        return {};
    }
    std::string names;
    for (std::size_t i = 0; i < objects.size() && i < kMostNamed; ++i) {
        names += (i == 0 ? "" : ", ") + objects[i];
    }
    if (objects.size() > kMostNamed) {
        names += " and " + std::to_string(objects.size() - kMostNamed) + " more";
    }
    return "it would remove from the chip what neither desired state nor records explain: " +
           names +
           "; nothing has been touched. See that this is the right state directory for this chip, "
           "and desired.db the latest; to have these removed, give --accept-loss";
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
