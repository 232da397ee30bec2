// All that the loaded library keeps.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ovs/Chip.h"
#include "pd/calls/CallLog.h"
#include "pd/calls/FaultPlan.h"
#include "pd/calls/Sessions.h"

namespace ovs {

struct Runtime {
    pd::Sessions sessions;
    pd::CallLog log;
    pd::FaultPlan faults;
    std::unique_ptr<Chip> chip; // made at the first use, by the settings of that moment
    Counts counts;              // as they were last read
    std::string problem;        // why the latest call failed for another reason than its arguments

    /// Throws BadSetting.
    Chip& madeChip() {
        if (!chip) {
            chip = std::make_unique<Chip>(Settings::read(std::nullopt));
        }
        return *chip;
    }
};

/// The one runtime of the process, made at the first use and freed when the library is unloaded.
/// May throw std::bad_alloc.
Runtime& runtime();

/// Drops the runtime; the next use makes a new one.
void runtimeDel() noexcept;

} // namespace ovs
