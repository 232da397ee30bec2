#pragma once

#include "agent/Configuration.h"
#include "agent/Progress.h"
#include "agent/restart/Situation.h"
#include "agent/restart/StartReport.h"

namespace LagAgent {

class ChipTables;
class PersistentState;

/// Records, chip and desired state as they are at this moment, also the records that are behind a
/// damaged one.
Situation readSituation(const ChipTables& chip, PersistentState& state);

/**
 * Brings the chip of a driver whose factories have just run to the desired state, without a flow
 * losing its port: audit, replay, and removal of what nobody wants.
 *
 * An interrupted restart is no special case: the next one audits what it finds. What a PD call
 * throws leaves; the chip then forwards on, in part by the old objects. `report` says what was
 * found and done.
 */
void restart(Driver& driver, Configuration& configuration, const ChipTables& chip,
             PersistentState& state, Progress* progress, StartReport& report);

} // namespace LagAgent
