// The objects of one kind on a chip, found by handle and walked scope by scope.
#pragma once

#include <cstddef>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "asic/HandleCounter.h"
#include "asic/Types.h"

namespace asic {

/// Owns records by handle. Record must have a member `ScopeIndex scope`.
///
/// A record is found by its handle alone (constant time), whatever its scope; a scope's handles are
/// counted in constant time and walked in rising order, a step in logarithmic time, also from a
/// handle that is gone. References to records stay valid until the record is erased.
template <class Record>
class HandleTable {
  public:
    /// capacity is that of each scope; handles must outlive the table.
    HandleTable(std::size_t scopes, std::uint32_t capacity, HandleCounter& handles)
        : order_(scopes), handles_(handles), capacity_(capacity) {}

    [[nodiscard]] Record* find(Handle handle) noexcept {
        const auto it = records_.find(handle);
        return it == records_.end() ? nullptr : &it->second;
    }
    [[nodiscard]] const Record* find(Handle handle) const noexcept {
        const auto it = records_.find(handle);
        return it == records_.end() ? nullptr : &it->second;
    }

    /// Takes the record in and gives it the next handle. On bad_alloc nothing has changed.
    [[nodiscard]] Status add(Record record, Handle* out) {
        auto& order = order_[record.scope];
        if (order.size() >= capacity_) {
            return P4_PD_STATUS_NO_SPACE;
        }
        const Handle handle = handles_.peek();
        if (handle == kNoHandle) {
            return P4_PD_STATUS_NO_SYS_RESOURCES;
        }

        const auto place = order.insert(order.end(), handle);
        try {
            records_.emplace(handle, std::move(record));
        } catch (...) {
            order.erase(place);
            throw;
        }
        handles_.advance();
        *out = handle;
        return P4_PD_STATUS_SUCCESS;
    }

    /// The handle must be in the table.
    void erase(Handle handle) noexcept {
        const auto it = records_.find(handle);
        order_[it->second.scope].erase(handle);
        records_.erase(it);
    }

    [[nodiscard]] bool empty() const noexcept { return records_.empty(); }
    [[nodiscard]] std::uint32_t capacity() const noexcept { return capacity_; }
    [[nodiscard]] std::uint32_t count(ScopeIndex scope) const noexcept {
        return static_cast<std::uint32_t>(order_[scope].size());
    }

    /// The scope's lowest handle above `handle`, or kNoHandle. next(scope, kNoHandle) is the first.
    [[nodiscard]] Handle next(ScopeIndex scope, Handle handle) const noexcept {
        const auto it = order_[scope].upper_bound(handle);
        return it == order_[scope].end() ? kNoHandle : *it;
    }

  private:
    std::unordered_map<Handle, Record> records_;
    std::vector<std::set<Handle>> order_; // by scope
    HandleCounter& handles_;
    std::uint32_t capacity_;
};

} // namespace asic
