// Ternary matching for one scope.
//
// Tuple-space search: the keys are sorted into tuples by mask, and within a tuple a hash map leads
// from the masked value to the keys that differ in priority only. A look-up probes the tuples in
// the order of their best priority and stops at the first that cannot win any more, so its cost
// follows the number of different masks, not the number of entries.
//
//   ranked_   (priority bound, mask), highest first
//      |
//      v
//   Tuple     masked value -> { priority -> handle }, the highest priority wins
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>

#include "asic/Mix.h"
#include "asic/Types.h"

namespace asic {

class TernaryTable {
  public:
    /// Two keys are the same when mask, masked value and priority are.
    [[nodiscard]] bool contains(const MatchKey& key) const noexcept;

    /// REQUIRES: !contains(key). On bad_alloc nothing has changed.
    void insert(const MatchKey& key, Handle handle);

    /// REQUIRES: contains(key).
    void erase(const MatchKey& key) noexcept;

    /// The entry of the highest priority that matches, among equals the lowest handle; kNoHandle
    /// if none matches.
    [[nodiscard]] Handle lookup(std::uint32_t metadata) const noexcept;

  private:
    struct ValueHash {
        std::size_t operator()(std::uint32_t value) const noexcept { return mix(value); }
    };
    using ByPriority = std::map<std::uint32_t, Handle>;
    using Rank = std::pair<std::uint32_t, std::uint32_t>; // priority bound, mask

    struct Tuple {
        std::unordered_map<std::uint32_t, ByPriority, ValueHash> byValue;
        // At least the highest priority in the tuple. It is not lowered when that key goes: a bound
        // that is too high costs a probe, never a wrong answer.
        std::uint32_t priorityBound = 0;
    };
    using Tuples = std::unordered_map<std::uint32_t, Tuple, ValueHash>;

    Tuple& tupleFor(const MatchKey& key);
    void raiseBound(Tuple& tuple, const MatchKey& key) noexcept;
    void eraseIfEmpty(Tuples::iterator tuple) noexcept;

    Tuples tuples_; // by mask; nodes do not move, ranked_ points at them
    std::map<Rank, const Tuple*, std::greater<>> ranked_;
};

} // namespace asic
