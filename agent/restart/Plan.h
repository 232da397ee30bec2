#pragma once

#include <string>
#include <vector>

#include "agent/state/Records.h"

namespace LagAgent {

/// One PD write of a restart.
struct Step {
    enum class Kind : std::uint8_t {
        memberSet,   ///< member `id` gets its action
        groupMake,   ///< group `id` comes into being; its first member joins with it
        groupJoin,   ///< `member` joins group `id`
        groupIdle,   ///< `member` of group `id` becomes inactive
        entryPoint,  ///< entry `entry` points at what is desired
        entryPark,   ///< entry `entry` points at `member` for a while
        entryRemove, ///< the chip's entry `handle` goes
        groupRemove, ///< the chip's group `handle` goes
        memberRemove ///< the chip's member `handle` goes
    };

    Kind kind;
    /// Of memberSet and entryPoint: the chip does not have the object yet.
    bool isNew = false;
    /// Of entryPoint: at a group. Of entryRemove: it is the default entry.
    bool flag = false;
    /// Of memberSet.
    std::uint8_t action = 0;
    /// Of a removal: what the handle is recorded for, if it is.
    std::uint32_t id = 0;
    std::uint32_t member = 0;
    ChipHandle handle = 0;
    EntryName entry{};
    /// Of entryRemove: the key of its record; 0: nobody recorded it.
    Glimt::EntryKey key = 0;
};

/// The PD function that a step calls, without the prefix that all of them share.
std::string operationOf(const Step& step);
/// What it is done to: "group 10: member 3", "chip group 42".
std::string objectOf(const Step& step);

/**
 * What a restart does to make the chip, and the agent's records of it, agree with the desired
 * state, in an order in which a flow never loses its port: members are changed in place; new groups
 * are made beside the old ones, complete with who is inactive, before any entry points at them;
 * then the entries are repointed, each in one step; only then is removed what nothing uses.
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

    /// Groups that the chip has no room for beside the old ones. If any, the groups are exchanged
    /// one by one, each old one going before the next new one comes.
    std::uint32_t missingGroups = 0;
    /// The groups whose flows were on one member for a while, because not even one group more had
    /// room.
    std::vector<std::uint32_t> touchedGroups{};

    /// Removals of what nobody had recorded.
    std::uint32_t orphans = 0;

    /// Number of steps by PD function.
    std::map<std::string, std::uint32_t> writes() const;
};

/// Throws `CommandError` (start) when the chip is so full that no order exists.
/// REQUIRES: the desired state is consistent, as `StateDatabase::read` makes sure.
Plan makePlan(const Records& records, const ChipState& chip, const DesiredState& desired);

/// The members of a group in the order in which they join: first the one that it begins with.
std::vector<std::uint32_t> joiningOrder(const DesiredGroup& group);

} // namespace LagAgent
