#pragma once

#include <string>
#include <vector>

#include "agent/terms/ChipState.h"

namespace LagAgent {

/// Something in which records, chip and desired state do not agree.
struct Finding {
    enum class Kind : std::uint8_t {
        corruptTable,  ///< a table of records is damaged, and was read in part
        staleRecord,   ///< recorded and on the chip, but not desired
        reservation,   ///< a key without a handle: a PD call was cut short, or refused
        unknownHandle, ///< a record whose handle the chip does not know, or knows as something else
        unrecorded,    ///< desired and on the chip, and nobody recorded it
        missing,       ///< desired, and not on the chip
        orphan,        ///< on the chip, and neither recorded nor desired
        groupTwice,    ///< two groups stand for one desired group: the one that is not kept
        // From here on the chip has the desired object, and does something else with it.
        wrongAction,  ///< a member with another action than desired
        wrongMembers, ///< a group with other members or another size than desired
        wrongState,   ///< a group with members active that should not be, or the other way round
        wrongTarget   ///< an entry that points elsewhere
    };

    Kind kind;
    std::string object;
    std::string detail;
    /// Number of PD writes that mend it.
    std::uint32_t writes = 0;

    friend bool operator==(const Finding&, const Finding&) = default;
};

/// The kind as people and tools see it: "stale record", "group twice".
const char* nameOf(Finding::Kind kind);

/// "chip group 42".
std::string chipName(const char* kind, ChipHandle handle);

} // namespace LagAgent
