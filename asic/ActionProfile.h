// The action profile of a chip: members, selector groups, and what uses them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asic/HandleCounter.h"
#include "asic/HandleTable.h"
#include "asic/SelectorGroup.h"
#include "asic/SoftwareAsic.h"
#include "asic/Types.h"

namespace asic {

/// What a member does to a packet. The port belongs to P4_PD_ACTION_setLagPort.
struct Action {
    std::uint32_t id = 0;
    std::uint16_t port = 0;
};

struct Member {
    ScopeIndex scope;
    Action action;
    std::uint32_t users = 0; // groups and entries that refer to it
};

struct Group {
    ScopeIndex scope;
    SelectorGroup selector;
    std::uint32_t users = 0; // entries that refer to it
};

/// A group takes members of its own scope only. Operations return a PD status; one that does not
/// return success has changed nothing, nor has one that throws std::bad_alloc.
class ActionProfile {
  public:
    ActionProfile(std::size_t scopes, const velmor_asic_chip_config_t& config,
                  HandleCounter& handles)
        : members_(scopes, config.member_capacity, handles),
          groups_(scopes, config.group_capacity, handles),
          groupSizeLimit_(config.group_size_limit) {}

    [[nodiscard]] Status addMember(ScopeIndex scope, const Action& action, Handle* member);
    [[nodiscard]] Status modifyMember(Handle member, const Action& action) noexcept;
    [[nodiscard]] Status deleteMember(Handle member) noexcept;

    [[nodiscard]] Status createGroup(ScopeIndex scope, std::uint16_t maxSize, Handle* group);
    [[nodiscard]] Status deleteGroup(Handle group) noexcept;

    [[nodiscard]] Status addToGroup(Handle group, Handle member);
    [[nodiscard]] Status removeFromGroup(Handle group, Handle member) noexcept;
    [[nodiscard]] Status setMemberState(Handle group, Handle member, std::uint32_t state) noexcept;

    /// Success if an entry of the scope may point at the target.
    [[nodiscard]] Status checkTarget(ScopeIndex scope, Target target) const noexcept;

    /// Counts an entry that points at the target. REQUIRES: the target exists.
    void retain(Target target) noexcept { ++users(target); }
    void release(Target target) noexcept { --users(target); }

    [[nodiscard]] const HandleTable<Member>& members() const noexcept { return members_; }
    [[nodiscard]] const HandleTable<Group>& groups() const noexcept { return groups_; }
    [[nodiscard]] std::uint16_t groupSizeLimit() const noexcept { return groupSizeLimit_; }

  private:
    std::uint32_t& users(Target target) noexcept;

    HandleTable<Member> members_;
    HandleTable<Group> groups_;
    std::uint16_t groupSizeLimit_;
};

} // namespace asic
