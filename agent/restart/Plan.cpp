#include "agent/restart/Plan.h"

#include <algorithm>

#include "agent/restart/Planner.h"

namespace LagAgent {

std::map<std::string, std::uint32_t> Plan::writes() const {
    std::map<std::string, std::uint32_t> writes;
    for (const Step& step : steps) {
        ++writes[operationOf(step)];
    }
    return writes;
}

void Plan::showWrites(Reply& reply) const {
    Listing listing({"operation", "count"});
    for (const auto& [operation, count] : writes()) {
        listing.add({operation, count});
    }
    reply.add("writes", listing);
    if (!obstacle.empty()) {
        reply.add("obstacle", obstacle, "a restart would fail: " + obstacle + "\n");
    }
}

void Plan::showSteps(Reply& reply) const {
    Listing listing({"operation", "object"});
    for (const Step& step : steps) {
        listing.add({operationOf(step), objectOf(step)});
    }
    reply.add("steps", listing);
}

Plan makePlan(const Situation& situation) {
    return Planner(situation).make();
}

std::vector<std::uint32_t> joiningOrder(const DesiredGroup& group) {
    std::vector<std::uint32_t> order;
    for (const auto& [member, isActive] : group.members) {
        order.push_back(member);
    }
    // The one that it was made with may have left since.
    if (const auto first = std::ranges::find(order, group.initial); first != order.end()) {
        std::rotate(order.begin(), first, first + 1);
    }
    return order;
}

} // namespace LagAgent
