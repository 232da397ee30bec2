// Calls as the words that memory keeps of them which several processes share.
#pragma once

#include "pd/calls/CallRecord.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace pd {

/// Words of a packed call.
namespace packed_at {
enum : std::size_t {
    kHead,      // operation, null arguments and status
    kShapes,    // four bits an argument
    kArguments, // argument words, two in one
    kWords = kArguments + ArgumentWords::kMaxWords / 2
};
} // namespace packed_at

using PackedCall = std::array<std::uint64_t, packed_at::kWords>;

/// The highest bits of packed_at::kShapes stay 0, for who has something to keep there.
inline constexpr unsigned kPackedShapeBits = 4 * Operation::kMaxArguments;

/// All of a record but its sequence number.
[[nodiscard]] PackedCall pack(const CallRecord& record) noexcept;

/// None if the words are not those of a packed call.
[[nodiscard]] std::optional<CallRecord> unpack(const PackedCall& words) noexcept;

} // namespace pd
