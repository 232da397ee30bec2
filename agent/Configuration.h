#pragma once

#include <map>
#include <optional>

#include "agent/Driver.h"

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

/// An installed entry. The driver knows it by the match-spec object, so that is kept here.
struct InstalledEntry {
    BfLagGroup::LagGroupMatchSpec::PtrConst match;
    BfLagGroup::LagGroupMemberOrGroupOrNone target;
};

/// "entry value 0x10 mask 0xffffffff priority 0", "default entry".
std::string nameOf(const EntryName& entry);

/**
 * What the agent writes into the driver: members, groups, group members and entries.
 *
 * The driver ends the process when its caller breaks the order that it requires. Every operation
 * here checks that order first and throws `CommandError` (refused), saying what to do first.
 *
 * When the chip refuses a PD call, the driver throws with its model already changed. Every
 * operation here then takes the change back without another PD call, so that the model says again
 * what the chip does, and lets the exception pass. There is one undo that needs a PD call: a group
 * whose initial member could not join is deleted.
 *
 * After a refused deletion the driver has let go of the object for good: it is back in the model,
 * but no reactor follows it. Such an object is *abandoned*. It takes one order only, to be deleted
 * again; that goes to the chip through the PD interface object, since the driver would make no
 * call.
 */
class Configuration {
  public:
    using ActionType = BfLagGroup::LagGroupActionProfileType;
    using MemberId = RuxTable::RuxMemberId;
    using GroupId = RuxTable::RuxGroupId;
    using Target = BfLagGroup::LagGroupMemberOrGroupOrNone;
    using Entries = std::map<EntryName, InstalledEntry>;

    explicit Configuration(Driver& driver) : driver_(driver) {}

    void memberAdd(MemberId member, ActionType type, std::uint16_t port);
    void memberSet(MemberId member, ActionType type, std::uint16_t port);
    void memberDel(MemberId member);

    void groupAdd(GroupId group, std::uint32_t size, MemberId initial, ActionType type);
    void groupDel(GroupId group);
    void groupMemberAdd(GroupId group, MemberId member);
    void groupMemberDel(GroupId group, MemberId member);
    void groupMemberSet(GroupId group, MemberId member, bool active);

    void entrySet(const EntryName& entry, const Target& target);
    void entryDel(const EntryName& entry);
    const Entries& entries() const noexcept { return entries_; }

    bool isAbandoned(MemberId member) const;
    bool isAbandoned(GroupId group) const;
    bool isAbandoned(GroupId group, MemberId member) const;

    /// The groups that hold the member, in rising order.
    std::vector<GroupId> groupsOf(MemberId member) const;

  private:
    BfLagGroup::LagGroupActionProfile& profile() const { return driver_.profile(); }

    BfLagGroup::LagGroupActionProfileEntry::Ptr requiredMember(MemberId member) const;
    BfLagGroup::LagGroupGroup::Ptr requiredGroup(GroupId group) const;
    BfLagGroup::LagGroupMember::Ptr requiredGroupMember(GroupId group, MemberId member) const;
    void requireNotAbandoned(GroupId group, MemberId member) const;
    void requireJoinable(MemberId member, GroupId group, ActionType type) const;
    /// Refuses while an entry points at the target.
    void requireUnused(const Target& target) const;

    void dropFailedGroup(GroupId group);
    void putBack(const BfLagGroup::LagGroupGroup& removed);
    void abandonedMemberDel(MemberId member);
    void abandonedGroupDel(GroupId group);
    void abandonedGroupMemberDel(GroupId group, MemberId member);

    Driver& driver_;
    Entries entries_;
};

/// "member 7", "group 10".
std::string nameOf(RuxTable::RuxMemberId member);
std::string nameOf(RuxTable::RuxGroupId group);
std::string nameOf(const BfLagGroup::LagGroupMemberOrGroupOrNone& target);
/// The action's name in the command language.
const std::string& nameOf(BfLagGroup::LagGroupActionProfileType type);

} // namespace LagAgent
