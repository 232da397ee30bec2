#include "agent/Configuration.h"

#include <algorithm>
#include <cstdio>

#include "agent/Errors.h"
#include "agent/ValueType.h"

// What members, groups and entries have in common: their names, and who uses whom.

namespace LagAgent {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

std::string nameOf(RuxMemberId member) {
    return "member " + std::to_string(member.value());
}

std::string nameOf(RuxGroupId group) {
    return "group " + std::to_string(group.value());
}

std::string nameOf(const BfLagGroup::LagGroupMemberOrGroupOrNone& target) {
    return target.member() ? nameOf(RuxMemberId(target.id())) : nameOf(RuxGroupId(target.id()));
}

const std::string& nameOf(BfLagGroup::LagGroupActionProfileType type) {
    return actionNames().at(static_cast<std::size_t>(type));
}

std::string nameOf(const EntryName& entry) {
    if (!entry) {
        return "default entry";
    }
    char text[96];
    std::snprintf(text, sizeof text, "entry value %#x mask %#x priority %u", entry->value,
                  entry->mask, entry->priority);
    return text;
}

bool Configuration::isAbandoned(MemberId member) const {
    return profile().entry(member) && !driver_.stateMachine().actionProfile(member);
}

bool Configuration::isAbandoned(GroupId group) const {
    return profile().group(group) && !driver_.stateMachine().group(group);
}

bool Configuration::isAbandoned(GroupId group, MemberId member) const {
    const auto model = profile().group(group);
    const auto reactor = driver_.stateMachine().group(group);
    return model && model->member(member) && !(reactor && reactor->groupMember(member));
}

std::vector<Configuration::GroupId> Configuration::groupsOf(MemberId member) const {
    std::vector<GroupId> groups;
    for (const auto& group : profile().group()) {
        if (group->member(member)) {
            groups.push_back(group->groupId());
        }
    }
    std::ranges::sort(groups, {}, [](GroupId group) { return group.value(); });
    return groups;
}

void Configuration::requireUnused(const Target& target) const {
    for (const auto& [entry, installed] : entries_) {
        if (installed.target == target) {
            refuse("the " + nameOf(entry) + " points at " + nameOf(target) +
                   ": delete it or point it elsewhere first");
        }
    }
}

} // namespace LagAgent
