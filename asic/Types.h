// The words in which the parts of the software ASIC talk to each other.
#pragma once

#include <cstdint>

#include "pd/p4_pd_velmor_switch.h"

namespace asic {

using Status = pipe_status;
using Handle = std::uint32_t;

/// Never the handle of an object.
inline constexpr Handle kNoHandle = 0;

/// Position of a scope within a chip: its pipes in order, then the scope of all pipes.
using ScopeIndex = std::uint16_t;

/// What an entry points at: one member, or a selector group.
struct Target {
    Handle handle = kNoHandle;
    bool isGroup = false;
};

/// A ternary key with its rank. The bits of value outside the mask do not take part in matching.
struct MatchKey {
    std::uint32_t value = 0;
    std::uint32_t mask = 0;
    std::uint32_t priority = 0;
};

} // namespace asic
