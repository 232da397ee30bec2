#pragma once

#include "agent/model/Configuration.h"
#include "agent/outcome/Progress.h"
#include "agent/restart/LateJoins.h"
#include "agent/restart/Retry.h"
#include "agent/restart/Situation.h"
#include "agent/restart/StartReport.h"

namespace LagAgent {

class ChipTables;
class PersistentState;

/// What a restart works on.
struct RestartContext {
    Driver& driver;
    Configuration& configuration;
    const ChipTables& chip;
    PersistentState& state;
    /// May be null.
    Progress* progress;
    LateJoins& lateJoins;
    bool acceptsLoss;
};

/**
 * Brings the chip of a driver whose factories have just run to the desired state, without a flow
 * losing its port, and enters that into the driver's model. What is on the chip as desired is taken
 * as it is: where nothing differs, nothing is written, neither to the chip nor to the records.
 *
 * An interrupted restart is no special case: the next one looks at what it finds. A start that
 * would remove too much (see `tooManyRemovals`) is refused before it touches anything, unless loss
 * is accepted. Throws `CommandError` (start). `report` says what was found and done.
 */
void restart(const RestartContext& context, Retry& retry, StartReport& report);

} // namespace LagAgent
