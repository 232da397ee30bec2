// Calls as the words that a chip file keeps of them.
#pragma once

#include "asic/ChipFileLayout.h"
#include "asic/Types.h"

#include <cstdint>
#include <optional>

namespace asic {

/// A call with what it takes to make it again.
struct RecordedCall {
    pd::CallRecord record;
    std::uint64_t generation = 0; // of the chip when the call was made
    Handle handle = kNoHandle;    // what the chip gave out next before the call
    bool isChange = false;        // it changed the chip, and not another device
};

[[nodiscard]] CallWords toWords(const RecordedCall& call) noexcept;

/// None if the words are not those of a whole call.
[[nodiscard]] std::optional<RecordedCall> toCall(const CallWords& words) noexcept;

} // namespace asic
