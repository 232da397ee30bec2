#include "asic/TernaryTable.h"

#include <iterator>

namespace asic {

bool TernaryTable::contains(const MatchKey& key) const noexcept {
    const auto tuple = tuples_.find(key.mask);
    if (tuple == tuples_.end()) {
        return false;
    }
    const auto& byValue = tuple->second.byValue;
    const auto sameValue = byValue.find(key.value & key.mask);
    return sameValue != byValue.end() && sameValue->second.contains(key.priority);
}

void TernaryTable::insert(const MatchKey& key, Handle handle) {
    Tuple& tuple = tupleFor(key);
    const std::uint32_t value = key.value & key.mask;
    try {
        tuple.byValue[value].emplace(key.priority, handle);
    } catch (...) {
        const auto sameValue = tuple.byValue.find(value);
        if (sameValue != tuple.byValue.end() && sameValue->second.empty()) {
            tuple.byValue.erase(sameValue);
        }
        eraseIfEmpty(tuples_.find(key.mask));
        throw;
    }
    raiseBound(tuple, key);
}

void TernaryTable::erase(const MatchKey& key) noexcept {
    const auto tuple = tuples_.find(key.mask);
    auto& byValue = tuple->second.byValue;
    const auto sameValue = byValue.find(key.value & key.mask);
    sameValue->second.erase(key.priority);
    if (sameValue->second.empty()) {
        byValue.erase(sameValue);
    }
    eraseIfEmpty(tuple);
}

Handle TernaryTable::lookup(std::uint32_t metadata) const noexcept {
    Handle best = kNoHandle;
    std::uint32_t bestPriority = 0;
    for (const auto& [rank, tuple] : ranked_) {
        const auto& [priorityBound, mask] = rank;
        if (best != kNoHandle && priorityBound < bestPriority) {
            break;
        }
        const auto sameValue = tuple->byValue.find(metadata & mask);
        if (sameValue == tuple->byValue.end()) {
            continue;
        }
        const auto& [priority, handle] = *std::prev(sameValue->second.end());
        if (best == kNoHandle || priority > bestPriority ||
            (priority == bestPriority && handle < best)) {
            best = handle;
            bestPriority = priority;
        }
    }
    return best;
}

// The tuple of the key's mask; a new one is empty, and ranked already.
TernaryTable::Tuple& TernaryTable::tupleFor(const MatchKey& key) {
    const auto [it, isNew] = tuples_.try_emplace(key.mask);
    if (isNew) {
        it->second.priorityBound = key.priority;
        try {
            ranked_.emplace(Rank(key.priority, key.mask), &it->second);
        } catch (...) {
            tuples_.erase(it);
            throw;
        }
    }
    return it->second;
}

// Moves the tuple's node within ranked_, which allocates nothing and so cannot fail.
void TernaryTable::raiseBound(Tuple& tuple, const MatchKey& key) noexcept {
    if (key.priority <= tuple.priorityBound) {
        return;
    }
    auto node = ranked_.extract(Rank(tuple.priorityBound, key.mask));
    node.key().first = key.priority;
    ranked_.insert(std::move(node));
    tuple.priorityBound = key.priority;
}

void TernaryTable::eraseIfEmpty(Tuples::iterator tuple) noexcept {
    if (!tuple->second.byValue.empty()) {
        return;
    }
    ranked_.erase(Rank(tuple->second.priorityBound, tuple->first));
    tuples_.erase(tuple);
}

} // namespace asic
