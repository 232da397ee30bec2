// All that the loaded library keeps.
#pragma once

#include "asic/AttachedChip.h"
#include "asic/Chips.h"
#include "asic/FaultPlan.h"
#include "asic/Sessions.h"
#include "asic/Steps.h"
#include "pd/calls/CallLog.h"

#include <memory>

namespace asic {

struct Runtime {
    Sessions sessions;
    Chips chips;
    pd::CallLog log;
    FaultPlan faults;
    Steps steps;
    std::unique_ptr<AttachedChip> attached; // or null; its device is not among the chips

    /// Whether a call has to do more than its work. watchedIs() is due after every change of the
    /// members that it looks at.
    [[nodiscard]] bool isWatched() const noexcept { return isWatched_; }
    void watchedIs() noexcept {
        isWatched_ = log.recording() || faults.armed() || steps.armed() || attached;
    }

    /// The attached chip if it is the device's, or null.
    [[nodiscard]] AttachedChip* attachedAs(int deviceId) const noexcept {
        return attached && attached->device() == deviceId ? attached.get() : nullptr;
    }

    /// The device's chip, attached or not, or null.
    [[nodiscard]] Chip* chip(int deviceId) noexcept {
        AttachedChip* const own = attachedAs(deviceId);
        return own ? &own->chip() : chips.find(deviceId);
    }

  private:
    bool isWatched_ = false;
};

/// The one runtime of the process, made at the first use and freed when the library is unloaded.
/// May throw std::bad_alloc.
Runtime& runtime();

/// Drops the runtime; the next use makes a new one.
void runtimeDel() noexcept;

} // namespace asic
