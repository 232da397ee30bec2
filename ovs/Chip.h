// The operations of the PD API on one switch: what each checks, and what it has the switch do.
#pragma once

#include <cstdint>
#include <vector>

#include "ovs/Link.h"
#include "ovs/Types.h"

namespace ovs {

/// Packets and bytes by entry, member and number of the port.
struct Counts {
    std::map<Handle, openflow::Counters> entries{};
    std::map<Handle, openflow::Counters> members{};
    std::map<std::uint32_t, openflow::PortCounters> ports{};
};

/// A chip without separate pipes. Operations return a PD status; one that does not return success
/// has changed nothing. Whatever Link throws means that it is not known whether the change was
/// made; the next call asks the switch.
///
/// The switch itself has no limits worth naming; these are for the agent to plan with.
class Chip {
  public:
    static constexpr std::uint32_t kEntryCapacity = 4096;
    static constexpr std::uint32_t kMemberCapacity = 65536;
    static constexpr std::uint32_t kGroupCapacity = 4096;
    static constexpr std::uint16_t kGroupSizeLimit = 512;

    explicit Chip(Settings settings) : link_(std::move(settings)) {}

    [[nodiscard]] Status addMember(const Action& action, Handle* member);
    [[nodiscard]] Status modifyMember(Handle member, const Action& action);
    [[nodiscard]] Status deleteMember(Handle member);

    [[nodiscard]] Status createGroup(std::uint16_t maxSize, Handle* group);
    [[nodiscard]] Status deleteGroup(Handle group);
    [[nodiscard]] Status addToGroup(Handle group, Handle member);
    [[nodiscard]] Status removeFromGroup(Handle group, Handle member);
    [[nodiscard]] Status setMemberState(Handle group, Handle member, std::uint32_t state);

    [[nodiscard]] Status setProperty(std::uint32_t property, std::uint32_t value);
    [[nodiscard]] Status addEntry(const Key& key, Target target, Handle* entry);
    /// Serves the default entry as well.
    [[nodiscard]] Status repoint(Handle entry, Target target);
    [[nodiscard]] Status deleteEntry(Handle entry);
    [[nodiscard]] Status setDefault(Target target, Handle* entry);
    [[nodiscard]] Status resetDefault();

    [[nodiscard]] Counts counts();

    [[nodiscard]] const Tables& tables() { return link_.tables(); }
    [[nodiscard]] Link& link() noexcept { return link_; }

  private:
    /// Makes the group have these members. REQUIRES: the members are there.
    void writeMembers(Handle group, const Group& wanted);
    Status insert(Entry entry, bool isDefault, Handle* out);

    Link link_;
};

} // namespace ovs
