#pragma once

#include "agent/chip/ChipWriter.h"
#include "agent/outcome/Reply.h"
#include "agent/restart/Identification.h"

namespace LagAgent {

/// One PD write of a restart: the PD function, what it is done to, and the place of what it mends
/// in the list of findings.
struct PdWrite {
    std::string operation;
    std::string object;
    std::size_t finding = 0;
};

/// What a restart would find and do at this moment.
struct Audit {
    std::vector<Finding> findings{};
    /// In their order. The one write of every start, of the table's entry scope, is not among them.
    std::vector<PdWrite> writes{};
    /// Why it would be refused; empty: it would not.
    std::string obstacle{};
};

/// The findings, and how many PD writes mend them.
void showFindings(std::shared_ptr<const Audit> audit, Reply& reply);
/// Every PD write, in order.
void showSteps(std::shared_ptr<const Audit> audit, Reply& reply);

/**
 * Compares the records in the shared tables, the chip and the desired state, as they were read, and
 * goes through a restart without touching the chip: what it writes differs from this forecast only
 * where the chip refuses.
 *
 * While a daemon runs and no command is under way, there is no finding except reservations of PD
 * calls that the chip refused, a group that it neither completed nor deleted, handles that could
 * not be recorded, a table that was found damaged in this run, and what the latest start had to
 * leave as it was.
 */
Audit audit(Situation situation);

/// The first `count` findings as a table.
Listing listingOf(std::shared_ptr<const std::vector<Finding>> findings, std::size_t count);

} // namespace LagAgent
