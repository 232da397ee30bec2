#pragma once

#include <optional>
#include <set>

#include "agent/chip/ChipWriter.h"
#include "agent/restart/Identification.h"

namespace LagAgent {

class HandleKeeper;

/**
 * Makes the chip as desired with the fewest writes, in an order in which no flow loses its port,
 * none gets to a wrong one, and none to an inactive member:
 *
 *     1. who should not be active in a group stops, where another one that should be is
 *     2. members get their action in place, or are added
 *     3. groups are mended in place; new ones are made with all their members before anything
 *        points at them. A group that cannot be mended in place is made anew beside the old one,
 *        its entries go over one by one, and the old one goes
 *     4. entries are repointed, each in one step, or added
 *     5. what nobody wants is removed: entries, groups, members
 *
 * A group cannot be mended in place when its size differs, or when it lacks a member that is to be
 * inactive and an entry points at it: the chip lets members join active. Where the chip has no free
 * group for the new one, the old one is mended as far as it can be: its finding says so, and the
 * members that could not join are `Identified::lateJoins`.
 *
 * Death at any step leaves something that the next run identifies: what was added and not recorded
 * serves, or is one object that nothing refers to.
 */
class Mending {
  public:
    /// `handles`: null in a forecast. REQUIRES: all outlive this object; `identified` was made from
    /// the writer's chip.
    Mending(const DesiredState& desired, Identified& identified, ChipWriter& writer,
            HandleKeeper* handles);

    /// Why the chip can never be as desired: more is desired than it takes. Empty: it can be.
    std::string obstacle() const;

    /// REQUIRES: no obstacle. Throws what a PD call throws.
    void run();

  private:
    using Removal = Identified::Removal;
    /// What a differing group's findings are at.
    struct Difference {
        std::optional<std::size_t> members{};
        std::optional<std::size_t> states{};
    };

    std::size_t add(Finding::Kind kind, std::string object, std::string detail);
    const ChipState& chip() const { return writer_.chip(); }

    // Members and entries.
    void setMembers();
    void makeRoomForMembers();
    void repointEntries();
    void addEntries();
    void point(const EntryName& name, ChipHandle& handle);
    void makeRoomForEntries();
    ChipTarget targetOf(const EntryName& name) const;
    void removeEntries();
    void removeGroups();
    void removeMembers(const std::set<ChipHandle>& used);
    std::set<ChipHandle> membersInUse() const;

    // Groups (MendGroups.cpp).
    void findDifferences();
    Difference differenceOf(std::uint32_t id, ChipHandle group);
    void stopUnwanted();
    void stopUnwanted(std::uint32_t id, const Difference& difference);
    void mendGroups();
    bool canMendInPlace(std::uint32_t id, ChipHandle group) const;
    void mendInPlace(std::uint32_t id, ChipHandle group, const Difference& difference);
    void setStates(std::uint32_t id, ChipHandle group, bool active,
                   std::optional<std::size_t> finding);
    std::optional<ChipHandle> nextToLeave(ChipHandle group,
                                          const std::map<ChipHandle, WantedMember>& wanted) const;
    void makeMissingGroup(std::uint32_t id, std::size_t finding);
    void makeAnew(std::uint32_t id, const Difference& difference);
    std::optional<ChipHandle> newGroup(std::uint32_t id, std::size_t finding);
    bool hasGroupRoom();
    void makeRoomForGroups();
    void fill(std::uint32_t id, ChipHandle group);

    const DesiredState& desired_;
    Identified& identified_;
    ChipWriter& writer_;
    HandleKeeper* handles_;
    std::map<std::uint32_t, Difference> differences_;
};

/// The members of a group in the order in which they join: first the one that it begins with.
std::vector<std::uint32_t> joiningOrder(const DesiredGroup& group);

} // namespace LagAgent
