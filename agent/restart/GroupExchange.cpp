#include <algorithm>

#include "agent/restart/Planner.h"

// The part of a plan for a chip that has no room for all new groups beside the old ones: groups are
// exchanged one by one. One free place is enough for that. Where there is none, one of the old
// groups gives way, and its place serves the others in turn.

namespace LagAgent {

void Planner::exchangeGroups() {
    std::vector<std::uint32_t> waiting;
    for (const auto& [id, group] : desired_.groups) {
        waiting.push_back(id);
    }
    while (!waiting.empty()) {
        if (forecast_.groupRoom() == 0) {
            if (!vacateOneGroup()) {
                plan_.obstacle = "the chip has no room for one group more, and lists none that "
                                 "could give way";
                return;
            }
            // Who gave way comes last: somebody else's exchange leaves room again.
            const auto& touched = plan_.touchedGroups;
            std::ranges::stable_partition(waiting, [&touched](std::uint32_t id) {
                return std::ranges::find(touched, id) == touched.end();
            });
        }
        const std::uint32_t id = waiting.front();
        waiting.erase(waiting.begin());
        makeGroup(id);
        for (const EntryName& entry : entriesOf_[id]) {
            pointEntry(entry);
        }
        removeUnusedGroups();
    }
}

/// A start that was cut short may have left a group with entries both at the old one and the new
/// one, which takes up two places. Where the recorded one is as desired, all can go there at once.
void Planner::pointAtWhatIsComplete() {
    for (const auto& [name, kept] : plan_.entries) {
        const auto& target = desired_.entries.at(name);
        const ChipHandle before = forecast_.groupOf(kept.handle);
        if (before == 0) {
            continue;
        }
        if (target.member()) {
            pointEntry(name);
        } else if (isComplete(target.id()) && records_.groups.at(target.id()) != before) {
            pointEntry(name, records_.groups.at(target.id()));
        }
    }
}

/// Whether the group's record stands for one that is on the chip as desired.
bool Planner::isComplete(std::uint32_t group) const {
    const auto record = records_.groups.find(group);
    const auto found =
        record == records_.groups.end() ? chip_.groups.end() : chip_.groups.find(record->second);
    const DesiredGroup& desired = desired_.groups.at(group);
    if (found == chip_.groups.end() || found->second.size != desired.size) {
        return false;
    }
    std::map<ChipHandle, bool> members;
    for (const auto& [id, isActive] : desired.members) {
        if (const auto member = members_.find(id); member != members_.end()) {
            members.emplace(member->second, isActive);
        }
    }
    const auto isAsNow = [&](const auto& member) {
        const auto& [handle, isActive] = member;
        const auto wanted = members.find(handle);
        return wanted != members.end() &&
               wanted->second == (isActive && !idled_.contains({found->first, handle}));
    };
    return members.size() == desired.members.size() &&
           members.size() == found->second.members.size() &&
           std::ranges::all_of(found->second.members, isAsNow);
}

/// Frees the place of the old group whose absence disturbs the fewest entries; false where there is
/// none.
bool Planner::vacateOneGroup() {
    std::map<ChipHandle, std::vector<EntryName>> users;
    for (const auto& [name, kept] : plan_.entries) {
        if (const ChipHandle group = forecast_.groupOf(kept.handle); group != 0) {
            users[group].push_back(name);
        }
    }
    if (users.empty()) {
        return false;
    }
    const auto least = std::ranges::min_element(users, {}, [this](const auto& group) {
        return std::pair(disturbanceOf(group.second), group.second.size());
    });
    for (const EntryName& name : least->second) {
        giveWay(name);
    }
    removeUnusedGroups();
    return true;
}

/// The number of entries whose flows lose their spread: those of a group without an active member
/// have no port to lose.
std::uint32_t Planner::disturbanceOf(const std::vector<EntryName>& entries) const {
    return static_cast<std::uint32_t>(std::ranges::count_if(
        entries, [this](const EntryName& name) { return parkingMember(name).has_value(); }));
}

void Planner::giveWay(const EntryName& entry) {
    if (const auto member = parkingMember(entry)) {
        park(entry, *member);
    } else {
        pointNowhere(entry);
    }
    forecast_.pointAt(plan_.entries.at(entry).handle, 0);
}

void Planner::park(const EntryName& entry, std::uint32_t member) {
    plan_.steps.push_back({.kind = Kind::entryPark, .member = member, .entry = entry});
    const std::uint32_t group = desired_.entries.at(entry).id();
    if (auto& touched = plan_.touchedGroups; std::ranges::find(touched, group) == touched.end()) {
        touched.push_back(group);
    }
}

/// No flow of such an entry has a port, and none may get one by way of another entry.
void Planner::pointNowhere(const EntryName& entry) {
    if (!hasVoid_) {
        plan_.steps.push_back({.kind = Kind::voidMake,
                               .isNew = true,
                               .action = P4_PD_ACTION_invalidateUcastEgressPort});
        hasVoid_ = true;
    }
    plan_.steps.push_back({.kind = Kind::entryVoid, .entry = entry});
}

/// The member that an entry's flows can share while its group is away: an active one, and best one
/// that was active all along; none when none is.
std::optional<std::uint32_t> Planner::parkingMember(const EntryName& entry) const {
    const ChipHandle group = forecast_.groupOf(plan_.entries.at(entry).handle);
    const auto& before = chip_.groups.at(group).members;
    std::optional<std::uint32_t> best;
    for (const auto& [id, isActive] : desired_.groups.at(desired_.entries.at(entry).id()).members) {
        if (!isActive) {
            continue;
        }
        const auto handle = members_.find(id);
        const auto state = handle == members_.end() ? before.end() : before.find(handle->second);
        if (state != before.end() && state->second) {
            return id;
        }
        best = best ? best : std::optional(id);
    }
    return best;
}

} // namespace LagAgent
