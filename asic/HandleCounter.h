// Hands out the handles of one chip.
#pragma once

#include "asic/Types.h"

namespace asic {

/// One counter serves entries, members and groups, so that a handle of one kind is never taken for
/// one of another. It is read first and advanced only when the object stands.
class HandleCounter {
  public:
    explicit HandleCounter(Handle first) noexcept : next_(first) {}

    /// The handle that the next object gets; kNoHandle when all have been given out.
    [[nodiscard]] Handle peek() const noexcept { return next_; }

    /// Ends at kNoHandle by the wrap of the unsigned type. REQUIRES: peek() != kNoHandle.
    void advance() noexcept { ++next_; }

    /// Sets the handle that the next object gets. REQUIRES: no object has it.
    void nextIs(Handle next) noexcept { next_ = next; }

  private:
    Handle next_;
};

} // namespace asic
