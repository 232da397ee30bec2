#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/Reply.h"
#include "agent/restart/Situation.h"
#include "agent/restart/Step.h"

namespace LagAgent {

/**
 * What a restart does to make the chip, and the agent's records of it, agree with the desired
 * state, in an order in which a flow never loses its port, and none gets to an inactive member:
 *
 *     1. members that are active on the chip and should not be become inactive, as far as their
 *        group keeps an active one
 *     2. members are changed in place, or added
 *     3. new groups are made beside the old ones, complete with who is inactive, before any entry
 *        points at them
 *     4. entries are repointed, each in one step
 *     5. what nothing uses is removed: entries, groups, members
 *
 * Before the steps come changes of the agent's own maps and tables alone: a record whose handle the
 * chip does not know is forgotten, and an object on the chip that nobody recorded is adopted, where
 * it is an entry of a desired key, or a member with the action of a desired one that has none.
 */
struct Plan {
    std::vector<Glimt::EntryKey> forgottenEntries{};
    std::vector<std::uint32_t> forgottenMembers{};
    std::vector<std::uint32_t> forgottenGroups{};
    /// The entries that keep their handle, with the key of their record; 0: adopted.
    struct KeptEntry {
        Glimt::EntryKey key = 0;
        ChipHandle handle = 0;
    };
    std::map<EntryName, KeptEntry> entries{};
    std::map<std::uint32_t, ChipHandle> adoptedMembers{};

    std::vector<Step> steps{};

    /// Why it cannot be carried out: more is desired than the chip takes. Empty: it can be.
    std::string obstacle{};
    /// Groups that the chip has no room for beside the old ones. If any, the groups are exchanged
    /// one by one, each old one going before the next new one comes.
    std::uint32_t missingGroups = 0;
    /// The groups whose flows are on one member for a while, because not even one group more has
    /// room.
    std::vector<std::uint32_t> touchedGroups{};
    /// Removals of what nobody had recorded.
    std::uint32_t orphans = 0;

    /// Number of steps by PD function.
    std::map<std::string, std::uint32_t> writes() const;
    /// How many PD writes of each operation, and what stands in their way.
    void showWrites(Reply& reply) const;
    /// Every PD write, in order.
    void showSteps(Reply& reply) const;
};

/// REQUIRES: the desired state is consistent, as `StateDatabase::read` makes sure.
Plan makePlan(const Situation& situation);

/// The members of a group in the order in which they join: first the one that it begins with.
std::vector<std::uint32_t> joiningOrder(const DesiredGroup& group);

} // namespace LagAgent
