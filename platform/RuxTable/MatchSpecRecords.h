#pragma once

#include <algorithm>
#include <cstddef>
#include <unordered_map>

#include "platform/RuxTable/RuxTable.h"

namespace RuxTable {

/// One value for each match spec, by identity. A match spec is kept alive by its record; records of
/// which nobody else holds the match spec any more are forgotten from time to time, at a cost that
/// is constant for each new record.
template <class Value>
class MatchSpecRecords {
  public:
    using Map = std::unordered_map<MatchSpecBase::PtrConst, Value>;

    /// The record of the match spec; made with the default value when there is none.
    Value& operator[](const MatchSpecBase::PtrConst& match) {
        if (records_.size() >= sweepAt_) {
            std::erase_if(records_, [](const auto& record) {
                return record.first && record.first->kelReferenceCount() == 1;
            });
            sweepAt_ = std::max(kSmallest, records_.size() * 2);
        }
        return records_[match];
    }

    const Map& map() const noexcept { return records_; }

    template <class Predicate>
    void eraseIf(Predicate&& predicate) {
        std::erase_if(records_, predicate);
    }

  private:
    static constexpr std::size_t kSmallest = 64;

    Map records_;
    std::size_t sweepAt_ = kSmallest;
};

} // namespace RuxTable
