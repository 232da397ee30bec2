#include "agent/terms/DesiredState.h"

#include <cstdio>

#include "agent/terms/ActionNames.h"

namespace LagAgent {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

std::string nameOf(const EntryName& entry) {
    if (!entry) {
        return "default entry";
    }
    char text[96];
    std::snprintf(text, sizeof text, "entry value %#x mask %#x priority %u", entry->value,
                  entry->mask, entry->priority);
    return text;
}

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

} // namespace LagAgent
