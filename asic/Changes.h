// Changes of a chip as data: what a call did, to be done again on another copy of the chip.
//
// A change is deterministic: the same changes in the same order make equal chips, handles included.
// A whole chip is written down the same way, as the shortest list of changes that makes it.
#pragma once

#include "asic/Chip.h"
#include "asic/Types.h"
#include "pd/calls/CallRecord.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <type_traits>

namespace asic {

/// The call of one operation of pd::Kind::change, without session and device.
struct Change {
    static constexpr std::size_t kMaxWords = 4; // lagGroup_add_entry

    std::uint16_t operation = 0;                  // index of the operation
    ScopeIndex scope = 0;                         // of the target, if the operation has one
    Handle handle = kNoHandle;                    // what the chip gives out next before the change
    std::array<std::uint32_t, kMaxWords> words{}; // the inputs after the target, in their order
};
static_assert(sizeof(Change) == 24 && std::has_unique_object_representations_v<Change>);

/// The change that a call made which succeeded with the chip; none if the record cannot be that of
/// such a call.
[[nodiscard]] std::optional<Change> changeOf(const pd::CallRecord& record, const Chip& chip,
                                             Handle handle) noexcept;

/// Makes the change; false if it cannot be one of this chip. May throw std::bad_alloc: then nothing
/// has changed but the next handle, which is the one that the change names.
[[nodiscard]] bool apply(Chip& chip, const Change& change);

/// Like apply, for a change of a list that makes a chip: also false if its handle is taken already.
[[nodiscard]] bool restore(Chip& chip, const Change& change);

/// Whether the list that makes the chip can be longer after a call of the operation.
[[nodiscard]] bool addsToList(std::size_t operation) noexcept;

/// Visits the list of changes that makes the chip from an empty one.
void listChanges(const Chip& chip, const std::function<void(const Change&)>& visit);

} // namespace asic
