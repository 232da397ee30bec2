#pragma once

#include "agent/restart/Identification.h"

namespace LagAgent {

/// What was recorded of the chip's objects: the key of an entry's record, and the ids of members
/// and groups.
struct RecordedHandles {
    std::unordered_map<ChipHandle, Glimt::EntryKey> entries{};
    std::unordered_map<ChipHandle, std::uint32_t> members{};
    std::unordered_map<ChipHandle, std::uint32_t> groups{};
};

/// Adds what stands for nothing desired to what is to be removed, with its findings. REQUIRES:
/// everything desired that is on the chip has been identified.
void listUnwanted(const ChipState& chip, const RecordedHandles& recorded, Identified& found);

/**
 * Why a start must not make these removals; empty: it may.
 *
 * A command changes the chip before it is committed, and adds one object at most. So one that was
 * cut short leaves one member, group or entry that is not desired, recorded or not; deletions and
 * changes leave none. Where nobody has asked for anything yet, nothing can be left. More than that
 * was brought about by something else, say by memories of different times. A second group for one
 * that is desired does not count: a start that was cut short has made the other.
 */
std::string tooManyRemovals(const Identified& identified, const Situation& situation);

} // namespace LagAgent
