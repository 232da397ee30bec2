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

Listing listingOf(const std::vector<Finding>& findings) {
    Listing listing({"finding", "object", "detail", "writes"});
    for (const Finding& finding : findings) {
        listing.add({nameOf(finding.kind), finding.object, finding.detail, finding.writes});
    }
    return listing;
}

void Audit::show(Reply& reply) const {
    reply.add("findings", listingOf(findings));
    reply.add("writes", writes.size(), "writes: " + std::to_string(writes.size()) + "\n");
    if (!obstacle.empty()) {
        reply.add("obstacle", obstacle, "a restart would be refused: " + obstacle + "\n");
    }
}

void Audit::showSteps(Reply& reply) const {
    Listing listing({"operation", "object", "mends"});
    for (const PdWrite& write : writes) {
        const Finding& finding = findings[write.finding];
        listing.add(
            {write.operation, write.object, nameOf(finding.kind) + (": " + finding.object)});
    }
    reply.add("steps", listing);
}

} // namespace LagAgent
