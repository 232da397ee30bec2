#include "agent/restart/ChipForecast.h"

#include <utility>

namespace LagAgent {

ChipForecast::ChipForecast(const ChipState& chip)
    : groupRoom_(chip.usage.group_capacity - chip.usage.groups) {
    for (const auto& [handle, group] : chip.groups) {
        users_.emplace(handle, 0);
    }
    for (const auto& [handle, entry] : chip.entries) {
        pointsAt_.emplace(handle, 0);
        // A group that the chip does not list is not ours to remove.
        if (entry.target.isGroup && users_.contains(entry.target.handle)) {
            pointAt(handle, entry.target.handle);
        }
    }
}

void ChipForecast::pointAt(ChipHandle entry, ChipHandle group) {
    const ChipHandle before = std::exchange(pointsAt_.at(entry), group);
    if (before != 0) {
        --users_.at(before);
    }
    if (group != 0) {
        ++users_.at(group);
    }
}

void ChipForecast::entryDel(ChipHandle entry) {
    pointAt(entry, 0);
    pointsAt_.erase(entry);
}

std::vector<ChipHandle> ChipForecast::takeUnusedGroups() {
    std::vector<ChipHandle> unused;
    std::erase_if(users_, [&unused](const auto& group) {
        if (group.second == 0) {
            unused.push_back(group.first);
        }
        return group.second == 0;
    });
    groupRoom_ += unused.size();
    return unused;
}

} // namespace LagAgent
