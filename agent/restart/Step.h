#pragma once

#include <string>

#include "agent/ChipState.h"
#include "platform/Glimt/SharedTable.h"

namespace LagAgent {

/// A step of a restart, which is one PD write. The first member of a group joins together with
/// the group's creation; its groupJoin stands for that write, and does nothing more.
struct Step {
    enum class Kind : std::uint8_t {
        oldIdle,      ///< `chipMember` becomes inactive in the chip's group `handle`
        memberSet,    ///< member `id` gets its action
        groupMake,    ///< group `id` comes into being
        groupJoin,    ///< `member` joins group `id`
        groupIdle,    ///< `member` of group `id` becomes inactive
        entryPoint,   ///< entry `entry` points at what is desired
        entryPark,    ///< entry `entry` points at `member` for a while
        voidMake,     ///< a member that sends nowhere comes into being
        entryVoid,    ///< entry `entry` points at that member for a while
        voidRemove,   ///< that member goes
        entryRemove,  ///< the chip's entry `handle` goes; `entry` is its key there
        groupRemove,  ///< the chip's group `handle` goes
        memberRemove, ///< the chip's member `handle` goes
        kCount
    };

    Kind kind;
    /// Of memberSet and entryPoint: the chip does not have the object yet.
    bool isNew = false;
    /// Of entryPoint: at a group.
    bool isToGroup = false;
    /// Of memberSet.
    std::uint8_t action = 0;
    /// Of groupRemove and memberRemove: what the handle is recorded for; 0 if it is not.
    std::uint32_t id = 0;
    std::uint32_t member = 0;
    ChipHandle handle = 0;
    ChipHandle chipMember = 0;
    EntryName entry{};
    /// Of entryRemove: the key of its record; 0: nobody recorded it.
    Glimt::EntryKey key = 0;
};

/// The PD function that a step calls, without the prefix that all of them share.
std::string operationOf(const Step& step);
/// What it is done to: "group 10: member 3", "chip group 42".
std::string objectOf(const Step& step);

} // namespace LagAgent
