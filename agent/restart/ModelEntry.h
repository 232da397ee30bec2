#pragma once

#include "agent/model/Configuration.h"
#include "agent/restart/HandleKeeper.h"

namespace LagAgent {

/**
 * Enters the desired state, which is on the chip already, into the driver's model and into the
 * agent's configuration, without a PD call.
 *
 * The driver programs what is written into its model. So its PD operations are bound to functions
 * that succeed without touching the chip, and that hand out the handles which are there; at the end
 * they are the library's again. Neither keys nor records change meanwhile.
 *
 * REQUIRES: the chip is as desired, by these handles, and the handle maps have them.
 */
void enterModel(Driver& driver, Configuration& configuration, const DesiredState& desired,
                const Identified& identified, const HandleKeeper& handles);

} // namespace LagAgent
