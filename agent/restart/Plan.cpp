#include "agent/restart/Plan.h"

#include <algorithm>
#include <set>
#include <utility>

#include "agent/Errors.h"
#include "agent/ValueType.h"

namespace LagAgent {

using Kind = Step::Kind;

namespace {

std::string entryOperation(const Step& step) {
    const std::string what = !step.entry ? "set_default" : step.isNew ? "add" : "modify";
    return "lagGroup_" + what + (step.flag ? "_entry_with_selector" : "_entry");
}

} // namespace

std::string operationOf(const Step& step) {
    const std::string profile = "lagPortActionProfile_";
    switch (step.kind) {
    case Kind::memberSet:
        return profile + (step.isNew ? "add" : "modify") + "_member_with_" +
               actionNames().at(step.action);
    case Kind::groupMake:
        return profile + "create_group";
    case Kind::groupJoin:
        return profile + "add_member_to_group";
    case Kind::groupIdle:
        return profile + "group_member_state_set";
    case Kind::entryPoint:
    case Kind::entryPark:
        return entryOperation(step);
    case Kind::entryRemove:
        return step.flag ? "lagGroup_table_reset_default_entry" : "lagGroup_table_delete";
    case Kind::groupRemove:
        return profile + "del_group";
    case Kind::memberRemove:
        return profile + "del_member";
    }
    return {};
}

std::string objectOf(const Step& step) {
    const auto group = nameOf(RuxTable::RuxGroupId(step.id));
    const auto member = nameOf(RuxTable::RuxMemberId(step.member));
    const auto handle = std::to_string(step.handle);
    switch (step.kind) {
    case Kind::memberSet:
        return nameOf(RuxTable::RuxMemberId(step.id));
    case Kind::groupMake:
        return group;
    case Kind::groupJoin:
    case Kind::groupIdle:
        return group + ": " + member;
    case Kind::entryPoint:
        return nameOf(step.entry);
    case Kind::entryPark:
        return nameOf(step.entry) + ": " + member + " for a while";
    case Kind::entryRemove:
        return "chip entry " + handle;
    case Kind::groupRemove:
        return "chip group " + handle;
    case Kind::memberRemove:
        return "chip member " + handle;
    }
    return {};
}

std::map<std::string, std::uint32_t> Plan::writes() const {
    std::map<std::string, std::uint32_t> writes;
    for (const Step& step : steps) {
        ++writes[operationOf(step)];
    }
    return writes;
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

namespace {

/// Makes one plan. Follows in `pointsAt_`, `oldGroups_` and `room_` what the chip will hold after
/// the steps so far.
class Planner {
  public:
    Planner(const Records& records, const ChipState& chip, const DesiredState& desired)
        : records_(records), chip_(chip), desired_(desired),
          room_(chip.usage.group_capacity - chip.usage.groups) {
        for (const auto& [handle, group] : chip.groups) {
            oldGroups_.emplace(handle, 0);
        }
        for (const auto& [handle, entry] : chip.entries) {
            pointsAt_.emplace(handle, entry.target);
            if (entry.target.isGroup) {
                ++oldGroups_.at(entry.target.handle);
            }
        }
        for (const auto& record : records.entries) {
            recordedEntries_.emplace(record.handle, record.key);
        }
        for (const auto& [id, handle] : records.members) {
            recordedMembers_.emplace(handle, id);
        }
        for (const auto& [id, handle] : records.groups) {
            recordedGroups_.emplace(handle, id);
        }
        for (const auto& [entry, target] : desired.entries) {
            if (!target.member()) {
                entriesOf_[target.id()].push_back(entry);
            }
        }
    }

    Plan make() {
        keepEntries();
        keepMembers();
        forgetGroups();
        setMembers();
        if (room_ < desired_.groups.size()) {
            removeUnwantedEntries();
            removeUnusedGroups();
        }
        if (room_ < desired_.groups.size()) {
            plan_.missingGroups = static_cast<std::uint32_t>(desired_.groups.size() - room_);
            exchangeGroupsOneByOne();
        } else {
            makeGroups();
        }
        makeRoomForEntries();
        pointEntries();
        removeUnwantedEntries();
        removeUnusedGroups();
        removeUnwantedMembers();
        return std::move(plan_);
    }

  private:
    using IdOfHandle = std::map<ChipHandle, std::uint32_t>;

    // ---- What the chip has already ----

    void keepEntries() {
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

    void keepEntry(const EntryName& name, const Plan::KeptEntry& kept) {
        if (desired_.entries.contains(name)) {
            plan_.entries.emplace(name, kept);
            wantedEntries_.insert(kept.handle);
        }
    }

    void keepMembers() {
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
    void adoptMembers() {
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

    void forgetGroups() {
        for (const auto& [id, handle] : records_.groups) {
            if (!chip_.groups.contains(handle)) {
                plan_.forgottenGroups.push_back(id);
            }
        }
    }

    // ---- Members and groups ----

    void setMembers() {
        for (const auto& [id, member] : desired_.members) {
            plan_.steps.push_back({.kind = Kind::memberSet,
                                   .isNew = !members_.contains(id),
                                   .action = static_cast<std::uint8_t>(member.type),
                                   .id = id});
        }
    }

    void makeGroups() {
        for (const auto& [id, group] : desired_.groups) {
            makeGroup(id, group);
        }
    }

    void makeGroup(std::uint32_t id, const DesiredGroup& group) {
        plan_.steps.push_back({.kind = Kind::groupMake, .id = id});
        for (const std::uint32_t member : joiningOrder(group)) {
            plan_.steps.push_back({.kind = Kind::groupJoin, .id = id, .member = member});
            if (!group.members.at(member)) {
                plan_.steps.push_back({.kind = Kind::groupIdle, .id = id, .member = member});
            }
        }
        --room_;
    }

    // ---- Groups one by one, where there is no room for all beside the old ones ----

    void exchangeGroupsOneByOne() {
        std::vector<std::uint32_t> later;
        std::vector<std::uint32_t> waiting;
        for (const auto& [id, group] : desired_.groups) {
            waiting.push_back(id);
        }
        while (!waiting.empty()) {
            if (room_ == 0) {
                vacateOneGroup();
                // Who gave way comes last: somebody else's exchange leaves room again.
                std::ranges::stable_partition(waiting, [this](std::uint32_t id) {
                    return std::ranges::find(plan_.touchedGroups, id) == plan_.touchedGroups.end();
                });
            }
            const std::uint32_t id = waiting.front();
            waiting.erase(waiting.begin());
            makeGroup(id, desired_.groups.at(id));
            for (const EntryName& entry : entriesOf_[id]) {
                pointEntry(entry, {id, false});
            }
            removeUnusedGroups();
        }
    }

    /// Frees the place of the old group that the fewest entries use, which are pointed at one of
    /// the desired group's active members meanwhile.
    void vacateOneGroup() {
        std::map<ChipHandle, std::vector<EntryName>> users;
        for (const auto& [name, kept] : plan_.entries) {
            const ChipTarget target = pointsAt_.at(kept.handle);
            if (target.isGroup) {
                users[target.handle].push_back(name);
            }
        }
        const std::vector<EntryName>* fewest = nullptr;
        for (const auto& [group, entries] : users) {
            const bool canGiveWay = std::ranges::all_of(
                entries, [this](const EntryName& name) { return parkingMember(name) != nullptr; });
            if (canGiveWay && (!fewest || entries.size() < fewest->size())) {
                fewest = &entries;
            }
        }
        if (!fewest) {
            throw CommandError(
                ErrorKind::start,
                "the chip has no room for one group more, and no group can give way because none "
                "has an active member: delete a group's entry, or give the chip more room");
        }
        for (const EntryName& name : *fewest) {
            park(name);
        }
        removeUnusedGroups();
    }

    /// Where an entry's flows can go without its group: an active member of it, or the member that
    /// it is to point at anyway; null: nowhere.
    const std::uint32_t* parkingMember(const EntryName& name) const {
        const auto& target = desired_.entries.at(name);
        if (target.member()) {
            return &desired_.members.find(target.id())->first;
        }
        const auto& members = desired_.groups.at(target.id()).members;
        const auto active = std::ranges::find_if(members, [](const auto& m) { return m.second; });
        return active == members.end() ? nullptr : &active->first;
    }

    void park(const EntryName& name) {
        plan_.steps.push_back(
            {.kind = Kind::entryPark, .member = *parkingMember(name), .entry = name});
        leaveOldTarget(plan_.entries.at(name).handle);
        const auto& target = desired_.entries.at(name);
        const auto& touched = plan_.touchedGroups;
        if (!target.member() && std::ranges::find(touched, target.id()) == touched.end()) {
            plan_.touchedGroups.push_back(target.id());
        }
    }

    // ---- Entries ----

    /// Unwanted entries go before the new ones come only where these would have no room.
    void makeRoomForEntries() {
        const auto isNew = [this](const auto& entry) {
            return entry.first && !plan_.entries.contains(entry.first);
        };
        const auto needed = std::ranges::count_if(desired_.entries, isNew);
        if (needed > std::int64_t{chip_.usage.entry_capacity} - chip_.usage.entries) {
            removeUnwantedEntries();
        }
    }

    void pointEntries() {
        for (const auto& [name, target] : desired_.entries) {
            if (!pointed_.contains(name)) {
                pointEntry(name, target);
            }
        }
    }

    void pointEntry(const EntryName& name, const DesiredState::Target& target) {
        const auto kept = plan_.entries.find(name);
        plan_.steps.push_back({.kind = Kind::entryPoint,
                               .isNew = kept == plan_.entries.end(),
                               .flag = !target.member(),
                               .entry = name});
        if (kept != plan_.entries.end()) {
            leaveOldTarget(kept->second.handle);
        }
        pointed_.insert(name);
    }

    void leaveOldTarget(ChipHandle entry) {
        const ChipTarget old = std::exchange(pointsAt_.at(entry), {});
        if (old.isGroup) {
            --oldGroups_.at(old.handle);
        }
    }

    // ---- What is no longer wanted ----

    void removeUnwantedEntries() {
        for (const auto& [handle, entry] : chip_.entries) {
            if (!wantedEntries_.contains(handle) && pointsAt_.contains(handle)) {
                leaveOldTarget(handle);
                pointsAt_.erase(handle);
                const auto recorded = recordedEntries_.find(handle);
                const bool isOrphan = recorded == recordedEntries_.end();
                remove({.kind = Kind::entryRemove,
                        .flag = !entry.name,
                        .handle = handle,
                        .key = isOrphan ? 0 : recorded->second},
                       isOrphan);
            }
        }
    }

    /// Old groups at which no entry points.
    void removeUnusedGroups() {
        for (auto group = oldGroups_.begin(); group != oldGroups_.end();) {
            const auto [handle, users] = *group;
            if (users != 0) {
                ++group;
                continue;
            }
            removeObject(Kind::groupRemove, handle, recordedGroups_);
            ++room_;
            group = oldGroups_.erase(group);
        }
    }

    void removeUnwantedMembers() {
        for (const auto& [handle, member] : chip_.members) {
            if (!wantedMembers_.contains(handle)) {
                removeObject(Kind::memberRemove, handle, recordedMembers_);
            }
        }
    }

    void removeObject(Kind kind, ChipHandle handle, const IdOfHandle& recorded) {
        const auto found = recorded.find(handle);
        const bool isOrphan = found == recorded.end();
        remove({.kind = kind, .id = isOrphan ? 0 : found->second, .handle = handle}, isOrphan);
    }

    void remove(const Step& step, bool isOrphan) {
        plan_.steps.push_back(step);
        plan_.orphans += isOrphan;
    }

    const Records& records_;
    const ChipState& chip_;
    const DesiredState& desired_;
    Plan plan_;
    /// Room for groups.
    std::size_t room_;
    /// What each entry that is on the chip at the start points at of what is there at the start.
    std::map<ChipHandle, ChipTarget> pointsAt_;
    /// Groups that are on the chip at the start, with the number of entries that point at them.
    std::map<ChipHandle, std::uint32_t> oldGroups_;
    std::map<std::uint32_t, std::vector<EntryName>> entriesOf_;
    std::set<EntryName> pointed_;
    std::set<ChipHandle> wantedEntries_;
    /// Desired members that have a handle.
    std::map<std::uint32_t, ChipHandle> members_;
    std::map<ChipHandle, Glimt::EntryKey> recordedEntries_;
    IdOfHandle recordedMembers_;
    IdOfHandle recordedGroups_;
    std::set<ChipHandle> wantedMembers_;
};

} // namespace

Plan makePlan(const Records& records, const ChipState& chip, const DesiredState& desired) {
    return Planner(records, chip, desired).make();
}

} // namespace LagAgent
