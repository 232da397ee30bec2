#include "framework/AllocTrack.h"

#include <atomic>

namespace Kel {

std::int64_t AllocTrackTypeInfo::load(const std::int64_t& counter) noexcept {
    return std::atomic_ref(const_cast<std::int64_t&>(counter)).load(std::memory_order_relaxed);
}

// An array counts as one allocation, since the class-level operators see it as one block.
void AllocTrackTypeInfo::trackArrayAllocation(AllocTrackTypeInfo& record, const Type* type,
                                              std::size_t size) noexcept {
    trackAllocation(record, type, size);
}

void AllocTrackTypeInfo::trackArrayDeallocation(AllocTrackTypeInfo& record) noexcept {
    trackDeallocation(record);
}

} // namespace Kel
