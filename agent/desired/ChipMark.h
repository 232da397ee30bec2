#pragma once

#include <cstdint>
#include <optional>

#include "platform/Pello/LockFile.h"

namespace LagAgent {

/// The desired state that a chip was brought to last, and its commit. It stands in the lock beside
/// the chip, so that a database and records which were put back together are held against something
/// that stayed.
struct ChipMark {
    std::uint64_t state = 0;
    std::uint64_t commit = 0;

    friend bool operator==(const ChipMark&, const ChipMark&) = default;
};

/// None in the lock of an older agent, or in one that is damaged.
std::optional<ChipMark> markIn(const Pello::LockFile& lock);
/// In one write, without waiting for the disk.
void markIs(Pello::LockFile& lock, const ChipMark& mark) noexcept;

} // namespace LagAgent
