#include <algorithm>
#include <tuple>

#include "agent/restart/Planner.h"

// The part of a plan for a chip that has no room for all new groups beside the old ones: groups are
// exchanged one by one. One free place is enough for that. Where there is none, one of the old
// groups gives way, and its place serves the others in turn.

namespace LagAgent {

void Planner::exchangeGroups() {
    leaveGroupsForMembers();
    std::set<std::uint32_t> waiting;
    for (const auto& [id, group] : desired_.groups) {
        waiting.insert(id);
    }
    while (!waiting.empty()) {
        if (forecast_.groupRoom() == 0 && !vacateOneGroup()) {
            plan_.obstacle = "the chip has no room for one group more, and none that could give "
                             "way without one member more";
            return;
        }
        const std::uint32_t id = nextToExchange(waiting);
        waiting.erase(id);
        makeGroup(id);
        for (const EntryName& entry : entriesOf_[id]) {
            pointEntry(entry);
        }
        removeUnusedGroups();
    }
}

/// Entries that are to point at members wait for no group, and free old ones.
void Planner::leaveGroupsForMembers() {
    for (const auto& [name, kept] : plan_.entries) {
        if (desired_.entries.at(name).member() && forecast_.groupOf(kept.handle) != 0) {
            pointEntry(name);
        }
    }
    removeUnusedGroups();
}

/// Whose exchange leaves room again goes first. Who takes up a place and frees none, such as one
/// that gave way, comes last.
std::uint32_t Planner::nextToExchange(const std::set<std::uint32_t>& waiting) const {
    const auto freesAPlace = [this](std::uint32_t group) {
        return std::ranges::any_of(oldGroupsOf(group), [this](const auto& old) {
            return old.second == forecast_.usersOf(old.first);
        });
    };
    const auto hasOldGroup = [this](std::uint32_t group) { return !oldGroupsOf(group).empty(); };
    auto next = std::ranges::find_if(waiting, freesAPlace);
    if (next == waiting.end()) {
        next = std::ranges::find_if(waiting, hasOldGroup);
    }
    return next == waiting.end() ? *waiting.begin() : *next;
}

/// The old groups at which entries of a desired group point, with the number of these.
std::map<ChipHandle, std::uint32_t> Planner::oldGroupsOf(std::uint32_t group) const {
    std::map<ChipHandle, std::uint32_t> old;
    const auto entries = entriesOf_.find(group);
    if (entries == entriesOf_.end()) {
        return old;
    }
    for (const EntryName& name : entries->second) {
        const auto kept = plan_.entries.find(name);
        const ChipHandle at =
            kept == plan_.entries.end() ? 0 : forecast_.groupOf(kept->second.handle);
        if (at != 0) {
            ++old[at];
        }
    }
    return old;
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
    const bool canVoid = hasVoid_ || memberRoom_ > 0;
    const auto least = std::ranges::min_element(users, {}, [&](const auto& group) {
        const std::uint32_t disturbed = disturbanceOf(group.second);
        const bool cannot = !canVoid && disturbed < group.second.size();
        return std::tuple(cannot, disturbed, group.second.size());
    });
    if (!canVoid && disturbanceOf(least->second) < least->second.size()) {
        return false;
    }
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
