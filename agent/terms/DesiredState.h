#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "BfLagGroup/LagGroupTableValues.h"
#include "platform/RuxTable/RuxTable.h"

namespace LagAgent {

/// The fields of a match key.
struct MatchKey {
    std::uint32_t value;
    std::uint32_t mask;
    std::uint32_t priority;

    auto operator<=>(const MatchKey&) const = default;
};

/// An entry's name in the agent: its key, or none for the default entry.
using EntryName = std::optional<MatchKey>;

/// A member as it is wanted. Where its action takes no port, the port is kept all the same.
struct DesiredMember {
    BfLagGroup::LagGroupActionProfileType type;
    std::uint16_t port;

    bool operator==(const DesiredMember&) const = default;
};

/// A group as it is wanted. The member that it was made with may have left it since.
struct DesiredGroup {
    std::uint32_t size;
    std::uint32_t initial;
    BfLagGroup::LagGroupActionProfileType type;
    /// Id of each member -> whether it is active.
    std::map<std::uint32_t, bool> members;

    bool operator==(const DesiredGroup&) const = default;
};

/// All that the agent was asked for and did: members and groups by id, and where entries point.
struct DesiredState {
    using Target = BfLagGroup::LagGroupMemberOrGroupOrNone;

    std::map<std::uint32_t, DesiredMember> members{};
    std::map<std::uint32_t, DesiredGroup> groups{};
    std::map<EntryName, Target> entries{};

    bool operator==(const DesiredState&) const = default;
};

/// "entry value 0x10 mask 0xffffffff priority 0", "default entry".
std::string nameOf(const EntryName& entry);
/// "member 7", "group 10".
std::string nameOf(RuxTable::RuxMemberId member);
std::string nameOf(RuxTable::RuxGroupId group);
std::string nameOf(const BfLagGroup::LagGroupMemberOrGroupOrNone& target);
/// The action's name in the command language.
const std::string& nameOf(BfLagGroup::LagGroupActionProfileType type);

} // namespace LagAgent
