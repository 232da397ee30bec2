#pragma once

#include <map>
#include <set>
#include <unordered_map>

#include "agent/restart/Finding.h"
#include "agent/restart/LateJoins.h"
#include "agent/restart/Situation.h"

namespace LagAgent {

/// Which object on the chip stands for which desired one, and what is found on the way.
struct Identified {
    /// The desired objects that are on the chip, by id or name.
    std::unordered_map<std::uint32_t, ChipHandle> members{};
    std::unordered_map<std::uint32_t, ChipHandle> groups{};
    std::map<EntryName, ChipHandle> entries{};

    /// Of these, the members with another action than desired.
    std::vector<std::uint32_t> differingMembers{};

    /// Those that are not, with the place of what says so in `findings`.
    std::map<std::uint32_t, std::size_t> missingMembers{};
    std::map<std::uint32_t, std::size_t> missingGroups{};
    std::map<EntryName, std::size_t> missingEntries{};

    /// What nobody wants on the chip.
    struct Removal {
        ChipHandle handle = 0;
        /// The key of its record (an entry), or the id that it is recorded for; 0: unrecorded.
        std::uint64_t record = 0;
        std::size_t finding = 0;
    };
    std::vector<Removal> unwantedEntries{};
    std::vector<Removal> unwantedGroups{};
    std::vector<Removal> unwantedMembers{};
    /// Groups that a start cut short had begun to make in the place of a desired one.
    std::map<std::uint32_t, Removal> halfMadeGroups{};
    /// What the mending could not bring about.
    std::set<LateJoins::Membership> lateJoins{};

    /// Records that stand for nothing on the chip.
    std::vector<Glimt::EntryKey> forgottenEntries{};
    std::vector<std::uint32_t> forgottenMembers{};
    std::vector<std::uint32_t> forgottenGroups{};

    std::vector<Finding> findings{};
};

/**
 * Finds the desired objects on the chip. A record tells, if the chip does not contradict it: its
 * handle must be known, an entry have the recorded key, a group have a member in common with the
 * desired one, and a member whose action differs be used where it should be. Otherwise the handle
 * has been given to something else.
 *
 * What nobody recorded is taken for what it does: an entry by its key; a group by an entry that
 * points at it, or by its members; a member by its action and port, first of all in the group where
 * it should be.
 *
 * REQUIRES: the desired state is consistent, as `StateDatabase::read` makes sure.
 */
Identified identify(const Situation& situation);

/// What the chip has where a member is as desired.
ChipMember onChip(const DesiredMember& member);

/// A desired group's members that are on the chip, by handle.
struct WantedMember {
    std::uint32_t id;
    bool isActive;
};
std::map<ChipHandle, WantedMember> wantedMembers(const DesiredGroup& group,
                                                 const Identified& identified);

/// Whether the group is on the chip, with the desired members, states and size.
bool isAsDesired(const DesiredGroup& desired, const ChipGroup& group, const Identified& identified);

} // namespace LagAgent
