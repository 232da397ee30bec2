#pragma once

#include "agent/restart/Records.h"

namespace LagAgent {

/// The three that must agree, each as it was read.
struct Situation {
    Records records{};
    ChipState chip{};
    DesiredState desired{};
    /// Nobody has asked for anything yet.
    bool isNew = false;
    /// Somebody has said that whatever must go may go (see `PersistentState::isMendingNoted`).
    bool isMendingNoted = false;
};

} // namespace LagAgent
