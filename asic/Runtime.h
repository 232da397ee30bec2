// All that the loaded library keeps.
#pragma once

#include "asic/CallLog.h"
#include "asic/Chips.h"
#include "asic/FaultPlan.h"
#include "asic/Sessions.h"

namespace asic {

struct Runtime {
    Sessions sessions;
    Chips chips;
    CallLog log;
    FaultPlan faults;

    /// Whether a call has to do more than its work.
    [[nodiscard]] bool isWatched() const noexcept { return log.recording() | faults.armed(); }
};

/// The one runtime of the process, made at the first use and freed when the library is unloaded.
/// May throw std::bad_alloc.
Runtime& runtime();

/// Drops the runtime; the next use makes a new one.
void runtimeDel() noexcept;

} // namespace asic
