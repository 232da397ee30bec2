// The words in which the parts of this library talk to each other.
#pragma once

#include <compare>
#include <cstdint>

#include "pd/p4_pd_velmor_switch.h"

namespace ovs {

using Status = pipe_status;
using Handle = std::uint32_t;

/// Never the handle of an object.
inline constexpr Handle kNoHandle = 0;

/// What a member does to a packet: P4_PD_ACTION_*. The port belongs to setLagPort.
struct Action {
    std::uint32_t id = 0;
    std::uint16_t port = 0;

    friend bool operator==(const Action&, const Action&) = default;
};

/// What an entry points at: one member, or a selector group.
struct Target {
    Handle handle = kNoHandle;
    bool isGroup = false;

    friend bool operator==(const Target&, const Target&) = default;
};

/// A ternary key with its rank. The bits of value outside the mask do not take part in matching.
struct Key {
    std::uint32_t value = 0;
    std::uint32_t mask = 0;
    std::uint32_t priority = 0;

    friend bool operator==(const Key&, const Key&) = default;
};

} // namespace ovs
