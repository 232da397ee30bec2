#include <algorithm>

#include "agent/restart/HandleKeeper.h"
#include "agent/restart/Mending.h"

// The part of a mending that is about desired groups.

namespace LagAgent {

using Kind = Finding::Kind;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

namespace {

using Wanted = std::map<ChipHandle, WantedMember>;

std::string membershipName(std::uint32_t group, const std::string& member) {
    return nameOf(RuxGroupId(group)) + ": " + member;
}
std::string membershipName(std::uint32_t group, std::uint32_t member) {
    return membershipName(group, nameOf(RuxMemberId(member)));
}

bool hasActive(const DesiredGroup& group) {
    return std::ranges::any_of(group.members, &std::pair<const std::uint32_t, bool>::second);
}

/// Whether a member is active that should be.
bool carriesFlows(const ChipGroup& group, const Wanted& wanted) {
    return std::ranges::any_of(group.members, [&](const auto& member) {
        const auto found = wanted.find(member.first);
        return member.second && found != wanted.end() && found->second.isActive;
    });
}

void append(std::string& list, const std::string& item) {
    list += (list.empty() ? "" : ", ") + item;
}

} // namespace

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

// ---- What differs ------------------------------------------------------------------------------

void Mending::findDifferences() {
    for (const auto& [id, desired] : desired_.groups) {
        const auto found = identified_.groups.find(id);
        if (found != identified_.groups.end() &&
            !isAsDesired(desired, chip().groups.at(found->second), identified_)) {
            differences_.emplace(id, differenceOf(id, found->second));
        }
    }
}

Mending::Difference Mending::differenceOf(std::uint32_t id, ChipHandle handle) {
    const DesiredGroup& desired = desired_.groups.at(id);
    const ChipGroup& group = chip().groups.at(handle);
    std::string members, states;
    if (group.size != static_cast<std::uint16_t>(desired.size)) {
        append(members, "its size is " + std::to_string(group.size));
    }
    for (const auto& [member, isActive] : desired.members) {
        const auto known = identified_.members.find(member);
        const auto found = known == identified_.members.end() ? group.members.end()
                                                              : group.members.find(known->second);
        if (found == group.members.end()) {
            append(members, nameOf(RuxMemberId(member)) + " is not in it");
        } else if (found->second != isActive) {
            append(states,
                   nameOf(RuxMemberId(member)) + " is " + (found->second ? "active" : "inactive"));
        }
    }
    const auto wanted = wantedMembers(desired, identified_);
    for (const auto& [member, isActive] : group.members) {
        if (!wanted.contains(member)) {
            append(members, chipName("member", member) + " does not belong there");
        }
    }
    Difference difference;
    const std::string name = nameOf(RuxGroupId(id));
    if (!members.empty()) {
        difference.members = add(Kind::wrongMembers, name, members);
    }
    if (!states.empty()) {
        difference.states = add(Kind::wrongState, name, states);
    }
    return difference;
}

// ---- In place ----------------------------------------------------------------------------------

void Mending::stopUnwanted() {
    for (const auto& [id, difference] : differences_) {
        stopUnwanted(id, difference);
    }
}

/// A command that was cut short may have left a member active that is to be inactive, or that has
/// left the group. Without one that should be active, what the flows have is better than nothing;
/// unless nobody should be.
void Mending::stopUnwanted(std::uint32_t id, const Difference& difference) {
    const DesiredGroup& desired = desired_.groups.at(id);
    const ChipHandle handle = identified_.groups.at(id);
    const auto wanted = wantedMembers(desired, identified_);
    const ChipGroup before = chip().groups.at(handle);
    if (hasActive(desired) && !carriesFlows(before, wanted)) {
        return;
    }
    for (const auto& [member, isActive] : before.members) {
        const auto found = wanted.find(member);
        if (found == wanted.end()) {
            if (isActive && chip().groups.at(handle).members.size() > 1) {
                writer_.findingIs(*difference.members);
                writer_.memberLeave(handle, member, membershipName(id, chipName("member", member)));
            }
        } else if (isActive && !found->second.isActive) {
            writer_.findingIs(*difference.states);
            writer_.activeIs(handle, member, false, membershipName(id, found->second.id));
        }
    }
}

void Mending::mendGroups() {
    for (const auto& [id, difference] : differences_) {
        const ChipHandle group = identified_.groups.at(id);
        if (canMendInPlace(id, group)) {
            mendInPlace(id, group, difference);
        } else {
            makeAnew(id, difference);
        }
    }
    std::erase_if(identified_.halfMadeGroups, [this](const auto& halfMade) {
        if (identified_.missingGroups.contains(halfMade.first)) {
            return false;
        }
        identified_.unwantedGroups.push_back(halfMade.second); // not needed after all
        return true;
    });
    makeRoomForGroups();
    for (const auto& [id, finding] : identified_.missingGroups) {
        makeMissingGroup(id, finding);
    }
}

/// Where new groups have no room, unwanted ones go first, and what points at them elsewhere. The
/// groups that are there are as they should be by now.
void Mending::makeRoomForGroups() {
    const auto& usage = chip().usage;
    const auto needed = identified_.missingGroups.size() - identified_.halfMadeGroups.size();
    if (usage.groups + needed > usage.group_capacity) {
        repointEntries();
        removeEntries();
        removeGroups();
    }
}

bool Mending::canMendInPlace(std::uint32_t id, ChipHandle handle) const {
    const DesiredGroup& desired = desired_.groups.at(id);
    const ChipGroup& group = chip().groups.at(handle);
    if (group.size != static_cast<std::uint16_t>(desired.size)) {
        return false;
    }
    const auto wanted = wantedMembers(desired, identified_);
    const auto isMissing = [&](const auto& member) {
        return !group.members.contains(member.first);
    };
    const bool lacksInactive = std::ranges::any_of(
        wanted, [&](const auto& member) { return isMissing(member) && !member.second.isActive; });
    if (lacksInactive && chip().isPointedAt(handle)) {
        return false;
    }
    const bool isFull = group.members.size() >= group.size;
    return !isFull || std::ranges::none_of(wanted, isMissing) || nextToLeave(handle, wanted);
}

/// A member that does not belong in the group, and can leave it: not the last one, nor the last one
/// that is active, unless nobody should be.
std::optional<ChipHandle> Mending::nextToLeave(ChipHandle handle, const Wanted& wanted) const {
    const auto& members = chip().groups.at(handle).members;
    const auto actives = std::ranges::count_if(members, [](const auto& m) { return m.second; });
    const bool mayAllStop =
        std::ranges::none_of(wanted, [](const auto& member) { return member.second.isActive; });
    const auto found = std::ranges::find_if(members, [&](const auto& member) {
        return !wanted.contains(member.first) && (!member.second || actives > 1 || mayAllStop);
    });
    return found == members.end() || members.size() == 1 ? std::nullopt
                                                         : std::optional(found->first);
}

void Mending::mendInPlace(std::uint32_t id, ChipHandle handle, const Difference& difference) {
    setStates(id, handle, true, difference.states);
    if (difference.members) {
        writer_.findingIs(*difference.members);
        const auto wanted = wantedMembers(desired_.groups.at(id), identified_);
        const ChipGroup& group = chip().groups.at(handle);
        auto next = wanted.begin();
        const bool isInUse = chip().isPointedAt(handle);
        const auto findNext = [&] {
            next = std::find_if(next, wanted.end(), [&](const auto& member) {
                return !group.members.contains(member.first) &&
                       (member.second.isActive || !isInUse);
            });
            return next != wanted.end();
        };
        for (;;) {
            if (findNext() && group.members.size() < group.size) {
                const auto& [member, wish] = *next;
                writer_.memberJoin(handle, member, membershipName(id, wish.id));
                if (!wish.isActive) {
                    writer_.activeIs(handle, member, false, membershipName(id, wish.id));
                }
            } else if (const auto leaves = nextToLeave(handle, wanted)) {
                writer_.memberLeave(handle, *leaves,
                                    membershipName(id, chipName("member", *leaves)));
            } else {
                break;
            }
        }
    }
    setStates(id, handle, false, difference.states);
    for (const auto& [member, wish] : wantedMembers(desired_.groups.at(id), identified_)) {
        if (!wish.isActive && !chip().groups.at(handle).members.contains(member)) {
            identified_.lateJoins.insert({handle, member});
        }
    }
}

/// Makes those active, or inactive, that should be and are not.
void Mending::setStates(std::uint32_t id, ChipHandle handle, bool active,
                        std::optional<std::size_t> finding) {
    if (!finding) {
        return;
    }
    writer_.findingIs(*finding);
    for (const auto& [member, wish] : wantedMembers(desired_.groups.at(id), identified_)) {
        const auto& members = chip().groups.at(handle).members;
        const auto found = members.find(member);
        if (wish.isActive == active && found != members.end() && found->second != active) {
            writer_.activeIs(handle, member, active, membershipName(id, wish.id));
        }
    }
}

// ---- Beside ------------------------------------------------------------------------------------

/// Unwanted groups go first where there is no room otherwise.
bool Mending::hasGroupRoom() {
    const auto& usage = chip().usage;
    if (usage.groups >= usage.group_capacity) {
        removeEntries();
        removeGroups();
    }
    return usage.groups < usage.group_capacity;
}

/// A group with all its members at which nothing points: one that was begun by an earlier start, or
/// a new one. None: the chip has no room for it.
std::optional<ChipHandle> Mending::newGroup(std::uint32_t id, std::size_t finding) {
    ChipHandle group = 0;
    if (const auto halfMade = identified_.halfMadeGroups.find(id);
        halfMade != identified_.halfMadeGroups.end()) {
        group = halfMade->second.handle;
        identified_.halfMadeGroups.erase(halfMade);
    } else if (hasGroupRoom()) {
        writer_.findingIs(finding);
        group = writer_.groupAdd(static_cast<std::uint16_t>(desired_.groups.at(id).size),
                                 nameOf(RuxGroupId(id)));
    } else {
        return std::nullopt;
    }
    fill(id, group);
    return group;
}

/// REQUIRES: nothing points at the group, and nobody is in it who does not belong there.
void Mending::fill(std::uint32_t id, ChipHandle group) {
    const DesiredGroup& desired = desired_.groups.at(id);
    for (const std::uint32_t member : joiningOrder(desired)) {
        const ChipHandle handle = identified_.members.at(member);
        const auto& members = chip().groups.at(group).members;
        const bool isActive = desired.members.at(member);
        if (!members.contains(handle)) {
            writer_.memberJoin(group, handle, membershipName(id, member));
        }
        if (members.at(handle) != isActive) {
            writer_.activeIs(group, handle, isActive, membershipName(id, member));
        }
    }
}

void Mending::makeMissingGroup(std::uint32_t id, std::size_t finding) {
    writer_.findingIs(finding);
    const auto group = newGroup(id, finding);
    if (!group) {
        BfTable::throwPdFailure("p4_pd_velmor_switch_lagPortActionProfile_create_group",
                                P4_PD_STATUS_NO_SPACE);
    }
    identified_.groups.emplace(id, *group);
    if (handles_) {
        handles_->groupIs(id, *group);
    }
}

/// The record goes over to the new group last of all: until then it marks the old one as
/// ours, so that a start cut short here removes it. Without a free group the old one is mended as
/// far as it can be.
void Mending::makeAnew(std::uint32_t id, const Difference& difference) {
    const std::size_t finding = *difference.members;
    writer_.findingIs(finding);
    const ChipHandle old = identified_.groups.at(id);
    const std::string oldName = chipName("group", old);
    const bool isGone = !chip().isPointedAt(old);
    if (isGone) {
        writer_.groupDel(old, oldName);
    }
    const auto group = newGroup(id, finding);
    if (!group) {
        identified_.findings[finding].detail += ": left so, since no group is free";
        mendInPlace(id, old, difference);
        return;
    }
    identified_.groups.at(id) = *group;
    for (auto& [name, handle] : identified_.entries) {
        if (chip().entries.at(handle).target == ChipTarget{old, true} &&
            desired_.entries.at(name) == DesiredState::Target(id, false)) {
            point(name, handle);
        }
    }
    if (!isGone && chip().isPointedAt(old)) {
        identified_.unwantedGroups.push_back({old, id, finding});
    } else if (!isGone) {
        writer_.groupDel(old, oldName);
    }
    if (handles_) {
        handles_->groupIs(id, *group);
    }
}

} // namespace LagAgent
