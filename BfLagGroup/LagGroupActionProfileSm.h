#pragma once

/// The state machine of the action profile, and its reactors.
#include "BfLagGroup/KelActionProfile.h"
#include "BfLagGroup/KelGroup.h"
#include "BfLagGroup/KelGroupMember.h"
#include "BfLagGroup/KelLagGroupActionProfile.h"
#include "BfLagGroup/LagGroupActionProfileSmFrame.h"
