// The step hook: tells a test which step of a call comes next.
#pragma once

#include <cstdint>

#include "asic/SoftwareAsic.h"

namespace asic {

class Steps {
  public:
    void hookIs(velmor_asic_step_hook_t hook, void* context) noexcept {
        hook_ = hook;
        context_ = context;
    }
    [[nodiscard]] bool armed() const noexcept { return hook_ != nullptr; }

    void callBegins(const char* operation) noexcept {
        operation_ = operation;
        take(VELMOR_ASIC_STEP_CALL_BEGIN);
    }
    void callEnds() noexcept {
        take(VELMOR_ASIC_STEP_CALL_END);
        operation_ = nullptr;
    }
    /// Comes before every store to a chip file.
    void store() noexcept { take(VELMOR_ASIC_STEP_STORE); }

  private:
    void take(std::uint32_t step) noexcept {
        if (hook_) {
            hook_(step, operation_, context_);
        }
    }

    velmor_asic_step_hook_t hook_ = nullptr;
    void* context_ = nullptr;
    const char* operation_ = nullptr; // the call that runs, or null
};

} // namespace asic
