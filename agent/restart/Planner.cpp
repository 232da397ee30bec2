#include "agent/restart/Planner.h"

#include <algorithm>

namespace LagAgent {

Planner::Planner(const Situation& situation)
    : records_(situation.records), chip_(situation.chip), desired_(situation.desired),
      forecast_(situation.chip) {
    for (const auto& record : records_.entries) {
        recordedEntries_.emplace(record.handle, record.key);
    }
    for (const auto& [id, handle] : records_.members) {
        recordedMembers_.emplace(handle, id);
    }
    for (const auto& [id, handle] : records_.groups) {
        recordedGroups_.emplace(handle, id);
    }
    for (const auto& [entry, target] : desired_.entries) {
        if (!target.member()) {
            entriesOf_[target.id()].push_back(entry);
        }
    }
}

Plan Planner::make() {
    keepEntries();
    keepMembers();
    forgetGroups();
    checkCapacities();
    if (!plan_.obstacle.empty()) {
        return std::move(plan_);
    }
    idleWhoShouldNotBeActive();
    pointAtWhatIsComplete();
    makeRoomForMembers();
    setMembers();
    if (lacksGroupRoom()) {
        removeUnwantedEntries();
        removeUnusedGroups();
    }
    if (lacksGroupRoom()) {
        plan_.missingGroups =
            static_cast<std::uint32_t>(desired_.groups.size() - forecast_.groupRoom());
        exchangeGroups();
    } else {
        makeGroups();
    }
    if (!plan_.obstacle.empty()) {
        return std::move(plan_);
    }
    makeRoomForEntries();
    pointEntries();
    if (hasVoid_) {
        plan_.steps.push_back({.kind = Kind::voidRemove});
    }
    removeUnwantedEntries();
    removeUnusedGroups();
    removeUnwantedMembers();
    return std::move(plan_);
}

void Planner::checkCapacities() {
    const auto isKeyed = [](const auto& entry) { return entry.first.has_value(); };
    const struct {
        const char* kind;
        std::size_t desired;
        std::size_t capacity;
    } kinds[]{
        {"members", desired_.members.size(), chip_.usage.member_capacity},
        {"groups", desired_.groups.size(), chip_.usage.group_capacity},
        {"entries", static_cast<std::size_t>(std::ranges::count_if(desired_.entries, isKeyed)),
         chip_.usage.entry_capacity},
    };
    for (const auto& [kind, desired, capacity] : kinds) {
        if (desired > capacity) {
            plan_.obstacle = "the chip has room for " + std::to_string(capacity) + " " + kind +
                             ", and " + std::to_string(desired) + " are desired";
        }
    }
    for (const auto& [id, group] : desired_.groups) {
        if (group.size > chip_.usage.group_size_limit) {
            plan_.obstacle = "the chip's groups take " +
                             std::to_string(chip_.usage.group_size_limit) + " members, and group " +
                             std::to_string(id) + " is for " + std::to_string(group.size);
        }
    }
}

// ---- What the chip has already -----------------------------------------------------------------

void Planner::keepEntries() {
    for (const auto& record : records_.entries) {
        const auto found = chip_.entries.find(record.handle);
        if (found == chip_.entries.end() || found->second.name != record.name) {
            plan_.forgottenEntries.push_back(record.key);
            recordedEntries_.erase(record.handle);
        } else {
            keepEntry(record.name, {record.key, record.handle});
        }
    }
    for (const auto& [handle, entry] : chip_.entries) {
        if (!recordedEntries_.contains(handle)) {
            keepEntry(entry.name, {0, handle});
        }
    }
}

void Planner::keepEntry(const EntryName& name, const Plan::KeptEntry& kept) {
    if (desired_.entries.contains(name) && plan_.entries.emplace(name, kept).second) {
        wantedEntries_.insert(kept.handle);
    }
}

void Planner::keepMembers() {
    for (const auto& [id, handle] : records_.members) {
        if (!chip_.members.contains(handle)) {
            plan_.forgottenMembers.push_back(id);
        } else if (desired_.members.contains(id)) {
            members_.emplace(id, handle);
        }
    }
    adoptMembers();
    for (const auto& [id, handle] : members_) {
        wantedMembers_.insert(handle);
    }
}

/// Members that nobody recorded are as good as new ones, where they do the same.
void Planner::adoptMembers() {
    std::multimap<std::pair<std::uint32_t, std::uint16_t>, ChipHandle> free;
    for (const auto& [handle, member] : chip_.members) {
        if (!recordedMembers_.contains(handle)) {
            free.emplace(std::pair(member.action, member.port), handle);
        }
    }
    for (const auto& [id, member] : desired_.members) {
        const auto action = static_cast<std::uint32_t>(member.type);
        const bool hasPort = action == P4_PD_ACTION_setLagPort;
        if (members_.contains(id)) {
            continue;
        }
        const auto found = free.find({action, hasPort ? member.port : std::uint16_t{0}});
        if (found != free.end()) {
            members_.emplace(id, found->second);
            plan_.adoptedMembers.emplace(id, found->second);
            free.erase(found);
        }
    }
}

void Planner::forgetGroups() {
    for (const auto& [id, handle] : records_.groups) {
        if (!chip_.groups.contains(handle)) {
            plan_.forgottenGroups.push_back(id);
        }
    }
}

// ---- Members and groups ------------------------------------------------------------------------

/// A command that was cut short may have left a member active that is to be inactive, or that has
/// left the group, and its flows would stay there until the new group takes over.
void Planner::idleWhoShouldNotBeActive() {
    std::map<ChipHandle, std::set<std::uint32_t>> standsFor;
    for (const auto& [name, kept] : plan_.entries) {
        const ChipHandle group = forecast_.groupOf(kept.handle);
        const auto& target = desired_.entries.at(name);
        if (group != 0 && !target.member()) {
            standsFor[group].insert(target.id());
        }
    }
    for (const auto& [group, desired] : standsFor) {
        if (desired.size() == 1) {
            idleIn(group, desired_.groups.at(*desired.begin()));
        }
    }
}

void Planner::idleIn(ChipHandle group, const DesiredGroup& desired) {
    const auto wanted = activeMembersOf(desired);
    std::vector<ChipHandle> unwanted;
    bool keepsOne = false;
    for (const auto& [member, isActive] : chip_.groups.at(group).members) {
        if (isActive && wanted.contains(member)) {
            keepsOne = true;
        } else if (isActive) {
            unwanted.push_back(member);
        }
    }
    // Without one that should be active, what the flows have is better than nothing; unless nobody
    // should be.
    if (keepsOne ||
        std::ranges::none_of(desired.members, &std::pair<const std::uint32_t, bool>::second)) {
        for (const ChipHandle member : unwanted) {
            plan_.steps.push_back({.kind = Kind::oldIdle, .handle = group, .chipMember = member});
            idled_.emplace(group, member);
        }
    }
}

std::set<ChipHandle> Planner::activeMembersOf(const DesiredGroup& group) const {
    std::set<ChipHandle> handles;
    for (const auto& [id, isActive] : group.members) {
        if (const auto member = members_.find(id); isActive && member != members_.end()) {
            handles.insert(member->second);
        }
    }
    return handles;
}

/// Where the new members have no room, and where a group that gives way may need one that sends
/// nowhere, unwanted ones go first that nothing refers to.
void Planner::makeRoomForMembers() {
    memberRoom_ = std::int64_t{chip_.usage.member_capacity} - chip_.usage.members -
                  static_cast<std::int64_t>(desired_.members.size() - members_.size());
    if (memberRoom_ > 0) {
        return;
    }
    std::set<ChipHandle> used;
    for (const auto& [handle, group] : chip_.groups) {
        for (const auto& [member, isActive] : group.members) {
            used.insert(member);
        }
    }
    for (const auto& [handle, entry] : chip_.entries) {
        if (!entry.target.isGroup) {
            used.insert(entry.target.handle);
        }
    }
    for (const auto& [handle, member] : chip_.members) {
        if (!wantedMembers_.contains(handle) && !used.contains(handle)) {
            removeObject(Kind::memberRemove, handle, recordedMembers_);
            wantedMembers_.insert(handle); // it is done with
            ++memberRoom_;
        }
    }
}

void Planner::setMembers() {
    for (const auto& [id, member] : desired_.members) {
        plan_.steps.push_back({.kind = Kind::memberSet,
                               .isNew = !members_.contains(id),
                               .action = static_cast<std::uint8_t>(member.type),
                               .id = id});
    }
}

void Planner::makeGroups() {
    for (const auto& [id, group] : desired_.groups) {
        makeGroup(id);
    }
}

void Planner::makeGroup(std::uint32_t id) {
    const DesiredGroup& group = desired_.groups.at(id);
    plan_.steps.push_back({.kind = Kind::groupMake, .id = id});
    for (const std::uint32_t member : joiningOrder(group)) {
        plan_.steps.push_back({.kind = Kind::groupJoin, .id = id, .member = member});
        if (!group.members.at(member)) {
            plan_.steps.push_back({.kind = Kind::groupIdle, .id = id, .member = member});
        }
    }
    forecast_.groupMade();
}

void Planner::removeUnusedGroups() {
    for (const ChipHandle group : forecast_.takeUnusedGroups()) {
        removeObject(Kind::groupRemove, group, recordedGroups_);
    }
}

void Planner::removeUnwantedMembers() {
    for (const auto& [handle, member] : chip_.members) {
        if (!wantedMembers_.contains(handle)) {
            removeObject(Kind::memberRemove, handle, recordedMembers_);
        }
    }
}

void Planner::removeObject(Kind kind, ChipHandle handle, const IdOfHandle& recorded) {
    const auto found = recorded.find(handle);
    const bool isOrphan = found == recorded.end();
    remove({.kind = kind, .id = isOrphan ? 0 : found->second, .handle = handle}, isOrphan);
}

void Planner::remove(const Step& step, bool isOrphan) {
    plan_.steps.push_back(step);
    plan_.orphans += isOrphan;
}

// ---- Entries -----------------------------------------------------------------------------------

/// Something that was cut short may have left an entry at a group that is not the one it should be
/// at: at the old one of two, or at another altogether. Where the recorded one is as desired, it
/// goes there at once.
void Planner::pointAtWhatIsComplete() {
    for (const auto& [name, kept] : plan_.entries) {
        const auto& target = desired_.entries.at(name);
        const ChipHandle before = forecast_.groupOf(kept.handle);
        if (before == 0) {
            continue;
        }
        if (target.member() && members_.contains(target.id())) {
            pointEntry(name);
        } else if (!target.member() && isComplete(target.id()) &&
                   records_.groups.at(target.id()) != before) {
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

/// Unwanted entries go before the new ones come only where these would have no room.
void Planner::makeRoomForEntries() {
    const auto isNew = [this](const auto& entry) {
        return entry.first && !plan_.entries.contains(entry.first);
    };
    const auto needed = std::ranges::count_if(desired_.entries, isNew);
    if (needed > std::int64_t{chip_.usage.entry_capacity} - chip_.usage.entries) {
        removeUnwantedEntries();
    }
}

/// Group by group, so that death in the middle leaves but one group with entries at the old one and
/// the new one.
void Planner::pointEntries() {
    for (const auto& [group, entries] : entriesOf_) {
        for (const EntryName& entry : entries) {
            if (!pointed_.contains(entry)) {
                pointEntry(entry);
            }
        }
    }
    for (const auto& [name, target] : desired_.entries) {
        if (!pointed_.contains(name)) {
            pointEntry(name);
        }
    }
}

/// `chipGroup`: the group of the first state at which that is; 0: a new group, or a member.
void Planner::pointEntry(const EntryName& name, ChipHandle chipGroup) {
    const auto kept = plan_.entries.find(name);
    plan_.steps.push_back({.kind = Kind::entryPoint,
                           .isNew = kept == plan_.entries.end(),
                           .isToGroup = !desired_.entries.at(name).member(),
                           .entry = name});
    if (kept != plan_.entries.end()) {
        forecast_.pointAt(kept->second.handle, chipGroup);
    }
    if (chipGroup == 0) {
        pointed_.insert(name);
    }
}

void Planner::removeUnwantedEntries() {
    for (const auto& [handle, entry] : chip_.entries) {
        if (wantedEntries_.contains(handle) || !forecast_.hasEntry(handle)) {
            continue;
        }
        forecast_.entryDel(handle);
        const auto recorded = recordedEntries_.find(handle);
        const bool isOrphan = recorded == recordedEntries_.end();
        remove({.kind = Kind::entryRemove,
                .handle = handle,
                .entry = entry.name,
                .key = isOrphan ? 0 : recorded->second},
               isOrphan);
    }
}

} // namespace LagAgent
