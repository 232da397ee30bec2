#pragma once

#include "agent/Reply.h"
#include "agent/restart/Situation.h"

namespace LagAgent {

/// Something in which records, chip and desired state do not agree.
struct Finding {
    enum class Kind : std::uint8_t {
        corruptTable,  ///< a table of records is damaged, and was read in part
        staleRecord,   ///< a record of what is not desired
        reservation,   ///< a key without a handle: a PD call was cut short, or refused
        unknownHandle, ///< a record whose handle the chip does not know, or knows as something else
        missing,       ///< desired, and nobody recorded it
        orphan,        ///< on the chip, and nobody recorded it
        groupTwice,    ///< an orphan that stands for a group that is recorded too
        wrongAction,   ///< a member with another action than desired
        wrongMembers,  ///< a group with other members or another size than desired
        wrongState,    ///< a member of a group that should be inactive, or should not
        wrongTarget    ///< an entry that points elsewhere
    };

    Kind kind;
    std::string object;
    std::string detail;

    friend bool operator==(const Finding&, const Finding&) = default;
};

/// The kind as people and tools see it: "stale record", "group twice".
const char* nameOf(Finding::Kind kind);

/**
 * Compares the records in the shared tables, the chip and the desired state, as they were read.
 *
 * While a daemon runs and no command is under way, there is no finding except reservations of PD
 * calls that the chip refused, a group that it neither completed nor deleted, handles that could
 * not be recorded, and a table that was found damaged in this run.
 */
std::vector<Finding> audit(const Situation& situation);

void show(const std::vector<Finding>& findings, Reply& reply);

} // namespace LagAgent
