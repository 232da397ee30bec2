#pragma once

#include <atomic>
#include <cstddef>

#include "framework/Export.h"
#include "framework/PtrInterface.h"
#include "framework/Words.h"

namespace Kel {

/**
 * Allocation record of one class: how many of its objects live, and how many were ever made.
 *
 * A scenario that leaks or frees twice shows as a live count that does not return to its start.
 */
class KEL_EXPORT AllocTrackTypeInfo {
  public:
    constexpr AllocTrackTypeInfo() = default;

    std::int64_t live() const noexcept { return load(live_); }
    std::int64_t total() const noexcept { return load(total_); }

    static void trackAllocation(AllocTrackTypeInfo& record, const Type* type,
                                std::size_t size) noexcept {
        add(record.live_, 1);
        add(record.total_, 1);
        record.type_ = type;
        record.objectSize_ = size;
    }
    static void trackDeallocation(AllocTrackTypeInfo& record) noexcept { add(record.live_, -1); }
    static void trackArrayAllocation(AllocTrackTypeInfo& record, const Type* type,
                                     std::size_t size) noexcept;
    static void trackArrayDeallocation(AllocTrackTypeInfo& record) noexcept;

    /// Type and size seen at the latest allocation; null and 0 before the first.
    const Type* type() const noexcept { return type_; }
    std::size_t objectSize() const noexcept { return objectSize_; }

  private:
    static std::int64_t load(const std::int64_t& counter) noexcept;
    static void add(std::int64_t& counter, std::int64_t amount) noexcept {
        // The last reference may be dropped on any thread once counts are shared between threads.
        if (VFPtrInterface::threadSafePointers_) [[unlikely]] {
            std::atomic_ref(counter).fetch_add(amount, std::memory_order_relaxed);
        } else {
            counter += amount;
        }
    }

    std::int64_t live_ = 0;
    std::int64_t total_ = 0;
    const Type* type_ = nullptr;
    std::size_t objectSize_ = 0;
};

/**
 * Gives class `Self`, derived from `Base`, what every counted class has: the nested pointer types,
 * an allocation record, and class-level `new` and `delete` that keep it. Since the bookkeeping sits
 * in the operators, a throwing constructor and any `delete` are counted right without code at the
 * creation site.
 *
 *     class Widget : public Kel::Tracked<Widget, Kel::Entity> { using Tracked::Tracked; ... };
 *     Widget::Ptr widget = new Widget(...);
 */
template <class Self, class Base>
class KEL_EXPORT Tracked : public Base {
  public:
    using Ptr = Kel::Ptr<Self>;
    using PtrConst = Kel::Ptr<Self const>;

    inline static constinit AllocTrackTypeInfo kelAllocTrackTypeInfo_{};

    static void* operator new(std::size_t size) {
        AllocTrackTypeInfo::trackAllocation(kelAllocTrackTypeInfo_, &Self::fwkType_, size);
        return allocateOr(size, &AllocTrackTypeInfo::trackDeallocation);
    }
    static void operator delete(void* memory, std::size_t size) noexcept {
        AllocTrackTypeInfo::trackDeallocation(kelAllocTrackTypeInfo_);
        PtrInterface::kelMemFree(memory, size);
    }
    static void* operator new[](std::size_t size) {
        AllocTrackTypeInfo::trackArrayAllocation(kelAllocTrackTypeInfo_, &Self::fwkType_, size);
        return allocateOr(size, &AllocTrackTypeInfo::trackArrayDeallocation);
    }
    static void operator delete[](void* memory, std::size_t size) noexcept {
        AllocTrackTypeInfo::trackArrayDeallocation(kelAllocTrackTypeInfo_);
        PtrInterface::kelMemFree(memory, size);
    }

  protected:
    using Base::Base;

  private:
    static void* allocateOr(std::size_t size, void (*untrack)(AllocTrackTypeInfo&)) {
        try {
            return PtrInterface::kelMemAlloc(size);
        } catch (...) {
            untrack(kelAllocTrackTypeInfo_);
            throw;
        }
    }
};

/// `Tracked`, and the virtual `fwkType()` that returns the registered type `Self::fwkType_`.
template <class Self, class Base>
class KEL_EXPORT Object : public Tracked<Self, Base> {
  public:
    const Type* fwkType() const override { return &Self::fwkType_; }

  protected:
    using Tracked<Self, Base>::Tracked;
};

} // namespace Kel
