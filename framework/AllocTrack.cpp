#include "framework/AllocTrack.h"

#include <atomic>

namespace Kel {

std::int64_t AllocTrackTypeInfo::load(const std::int64_t& counter) noexcept {
    return std::atomic_ref(const_cast<std::int64_t&>(counter)).load(std::memory_order_relaxed);
}

void AllocTrackTypeInfo::add(std::int64_t& counter, std::int64_t amount) noexcept {
    // The last reference may be dropped on any thread once counts are shared between threads.
    if (VFPtrInterface::threadSafePointers_) {
        std::atomic_ref(counter).fetch_add(amount, std::memory_order_relaxed);
    } else {
        counter += amount;
    }
}

void AllocTrackTypeInfo::trackAllocation(AllocTrackTypeInfo& record, const Type* type,
                                         std::size_t size) noexcept {
    add(record.live_, 1);
    add(record.total_, 1);
    record.type_ = type;
    record.objectSize_ = size;
}

void AllocTrackTypeInfo::trackDeallocation(AllocTrackTypeInfo& record) noexcept {
    add(record.live_, -1);
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
