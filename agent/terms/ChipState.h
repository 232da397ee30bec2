#pragma once

#include <algorithm>
#include <cstdint>
#include <map>

#include "agent/terms/DesiredState.h"
#include "pd/p4_pd_velmor_switch.h"

namespace LagAgent {

/// A handle that the chip gave out, of whichever kind.
using ChipHandle = std::uint32_t;

struct ChipMember {
    /// P4_PD_ACTION_*, which are numbered as `LagGroupActionProfileType` is.
    std::uint32_t action = 0;
    /// Of setLagPort; 0 for the other actions.
    std::uint16_t port = 0;

    friend bool operator==(const ChipMember&, const ChipMember&) = default;
};

struct ChipGroup {
    std::uint16_t size = 0;
    /// Whether each member is active.
    std::map<ChipHandle, bool> members{};

    friend bool operator==(const ChipGroup&, const ChipGroup&) = default;
};

/// What an entry points at on the chip.
struct ChipTarget {
    ChipHandle handle = 0;
    bool isGroup = false;

    auto operator<=>(const ChipTarget&) const = default;
};

struct ChipEntry {
    EntryName name{};
    ChipTarget target{};

    friend bool operator==(const ChipEntry&, const ChipEntry&) = default;
};

/// Everything that the chip holds in the driver's pipe scope. It names things by handle alone and
/// knows nothing of the agent's ids.
struct ChipState {
    std::map<ChipHandle, ChipMember> members{};
    std::map<ChipHandle, ChipGroup> groups{};
    /// With the default entry, if one is set.
    std::map<ChipHandle, ChipEntry> entries{};
    p4_pd_velmor_switch_usage_t usage{};

    /// Whether an entry points at the group. Looks at every entry.
    bool isPointedAt(ChipHandle group) const {
        return std::ranges::any_of(entries, [group](const auto& entry) {
            return entry.second.target == ChipTarget{group, true};
        });
    }
};

} // namespace LagAgent
