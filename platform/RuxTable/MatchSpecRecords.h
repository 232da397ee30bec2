#pragma once

#include "platform/RuxTable/RuxTable.h"
#include "platform/RuxTable/SweptRecords.h"

namespace RuxTable {

struct IsHeldByItsRecordAlone {
    bool operator()(const MatchSpecBase::PtrConst& match) const {
        return match && match->kelReferenceCount() == 1;
    }
};

/// One value for each match spec, by identity. A match spec is kept alive by its record, and gone
/// when nobody else holds it any more.
template <class Value>
using MatchSpecRecords = SweptRecords<MatchSpecBase::PtrConst, Value, IsHeldByItsRecordAlone>;

} // namespace RuxTable
