#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "agent/chip/Driver.h"
#include "agent/model/Usage.h"
#include "agent/terms/DesiredState.h"

namespace LagAgent {

class StateDatabase;

/// An installed entry. The driver knows it by the match-spec object, so that is kept here.
struct InstalledEntry {
    BfLagGroup::LagGroupMatchSpec::PtrConst match;
    BfLagGroup::LagGroupMemberOrGroupOrNone target;
};

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
 *
 * Where there is a database, every operation writes the change into it after the checks and before
 * the driver hears of it: what cannot be kept never reaches the chip. The changes are kept when
 * `commit` has returned. An operation that has thrown has left the model and the chip as they were,
 * and is to be followed by `rollback`; so an abandoned object is still desired.
 *
 * No operation costs more where there are more groups or entries. Who is in which group is known
 * from the first question on, and groups are changed through this object alone from then on.
 */
class Configuration {
  public:
    using ActionType = BfLagGroup::LagGroupActionProfileType;
    using MemberId = RuxTable::RuxMemberId;
    using GroupId = RuxTable::RuxGroupId;
    using Target = BfLagGroup::LagGroupMemberOrGroupOrNone;
    using Entries = std::map<EntryName, InstalledEntry>;

    /// Without a database nothing is kept. Both must outlive it.
    explicit Configuration(Driver& driver, StateDatabase* desired = nullptr)
        : driver_(driver), desired_(desired) {}

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
    /// Told of each entry that `entrySet` has set.
    using EntryWasSet = std::function<void(const BfLagGroup::LagGroupMatchSpec::PtrConst& match)>;
    void onEntrySet(EntryWasSet told) { entryWasSet_ = std::move(told); }
    /// Takes over an entry that is in the chip and in the database already.
    void installedEntryIs(const EntryName& entry, InstalledEntry installed);

    /// Keeps what was changed since the latest `commit` or `rollback`. Throws `DesiredStateLost`
    /// when that cannot be: the chip is ahead of the database then, `isOutOfStep` for good, and
    /// every further change is refused.
    void commit();
    /// The database forgets those changes.
    void rollback() noexcept;
    bool isOutOfStep() const noexcept { return isOutOfStep_; }
    /// How many operations have passed their checks, after which the chip may have changed.
    std::uint64_t changes() const noexcept { return changes_; }

    bool isAbandoned(MemberId member) const;
    bool isAbandoned(GroupId group) const;
    bool isAbandoned(GroupId group, MemberId member) const;

    /// Member and group id of each group member, in rising order.
    using Memberships = Usage<std::uint32_t, std::uint32_t>;
    const std::set<Memberships::Pair>& memberships() const { return knownMemberships().all(); }
    /// The lowest group that holds the member.
    std::optional<GroupId> lowestGroupOf(MemberId member) const;

  private:
    /// Writes a change of the desired state, `change(database)`, where there is one. Comes after
    /// the checks and before the driver's part.
    template <class Change>
    void desire(Change&& change) {
        requireInStep();
        ++changes_;
        if (desired_) {
            change(*desired_);
        }
    }
    void requireInStep() const;

    BfLagGroup::LagGroupActionProfile& profile() const { return driver_.profile(); }

    BfLagGroup::LagGroupActionProfileEntry::Ptr requiredMember(MemberId member) const;
    BfLagGroup::LagGroupGroup::Ptr requiredGroup(GroupId group) const;
    BfLagGroup::LagGroupMember::Ptr requiredGroupMember(GroupId group, MemberId member) const;
    void requireNotAbandoned(GroupId group, MemberId member) const;
    void requireNotAbandoned(const Target& target) const;
    void requireJoinable(MemberId member, GroupId group, ActionType type) const;
    /// Refuses while an entry points at the target.
    void requireUnused(const Target& target) const;

    class MembershipScope;
    const Memberships& knownMemberships() const;
    /// Looks again whether the entry points at the target.
    void pointingWasChanged(const EntryName& entry, const Target& target) noexcept;

    void dropFailedGroup(GroupId group);
    void putBack(const BfLagGroup::LagGroupGroup& removed);
    void abandonedMemberDel(MemberId member);
    void abandonedGroupDel(GroupId group);
    void abandonedGroupMemberDel(GroupId group, MemberId member);

    Driver& driver_;
    StateDatabase* desired_;
    Entries entries_;
    EntryWasSet entryWasSet_;
    mutable Memberships memberships_;
    mutable Usage<std::pair<bool, std::uint32_t>, EntryName> pointing_; // (is member, id) -> entry
    std::uint64_t changes_ = 0;
    bool isOutOfStep_ = false;
};

} // namespace LagAgent
