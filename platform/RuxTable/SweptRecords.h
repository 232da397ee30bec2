#pragma once

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <utility>

namespace RuxTable {

/// One value for each object. Records of objects of which `IsGone`, called with the key, says that
/// they are gone are forgotten from time to time, at a cost that is constant for each new record:
/// there are never more than twice as many records as objects, but for a few.
template <class Key, class Value, class IsGone>
class SweptRecords {
  public:
    using Map = std::unordered_map<Key, Value>;

    SweptRecords() = default;
    explicit SweptRecords(IsGone isGone) : isGone_(std::move(isGone)) {}

    /// The record of the object; made with the default value when there is none.
    Value& operator[](const Key& key) {
        if (records_.size() >= sweepAt_) {
            sweep();
            sweepAt_ = std::max(kSmallest, records_.size() * 2);
        }
        return records_[key];
    }

    /// Forgets the records of all objects that are gone.
    void sweep() {
        eraseIf([this](const auto& record) { return isGone_(record.first); });
    }

    const Map& map() const noexcept { return records_; }

    template <class Predicate>
    void eraseIf(Predicate&& predicate) {
        std::erase_if(records_, predicate);
    }

  private:
    static constexpr std::size_t kSmallest = 64;

    IsGone isGone_{};
    Map records_;
    std::size_t sweepAt_ = kSmallest;
};

} // namespace RuxTable
