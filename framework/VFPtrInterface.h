#pragma once

#include <atomic>

#include "framework/Export.h"
#include "framework/Words.h"

namespace Kel {

/**
 * The counted core of every object: one 32-bit word of reference count and flags.
 *
 * Bit 31 is the marked-for-deletion flag and bit 29 the notifications-active flag; the count is
 * the rest (`kCountMask`). A word whose count is zero triggers zero handling whatever its flags.
 *
 * The word is updated by plain arithmetic, or atomically when `threadSafePointers_` is set. The
 * switch is read at every operation; flip it only while a single thread holds references.
 */
class KEL_EXPORT VFPtrInterface {
  public:
    static constexpr U32 kMarkedForDeletionBit = 1u << 31;
    static constexpr U32 kNotificationActiveBit = 1u << 29;
    static constexpr U32 kCountMask = 0x5fffffff;

    /// Process-wide: whether counts are shared between threads. Off at start.
    static bool threadSafePointers_;

    VFPtrInterface(const VFPtrInterface&) = delete;
    VFPtrInterface& operator=(const VFPtrInterface&) = delete;

    U32 kelReferenceCount() const noexcept { return kelWord() & kCountMask; }
    bool kelMarkedForDeletion() const noexcept { return static_cast<std::int32_t>(kelWord()) < 0; }
    void kelMarkedForDeletionIs(bool marked) noexcept { setFlag(kMarkedForDeletionBit, marked); }

    /// Takes one reference. `Ptr` does this for you.
    void kelReferenceTake() const noexcept {
        if (threadSafePointers_) {
            std::atomic_ref(word_).fetch_add(1, std::memory_order_relaxed);
        } else {
            ++word_;
        }
    }

    /// Drops one reference; true when it was the last one, and then the caller runs zero handling.
    [[nodiscard]] bool kelReferenceDrop() const noexcept {
        U32 word;
        if (threadSafePointers_) {
            // Release publishes this thread's writes; acquire lets the last holder see them all
            // before it destroys the object.
            word = std::atomic_ref(word_).fetch_sub(1, std::memory_order_acq_rel) - 1;
        } else {
            word = --word_;
        }
        return (word & kCountMask) == 0;
    }

  protected:
    VFPtrInterface() = default;
    ~VFPtrInterface() = default;

    bool flag(U32 bit) const noexcept { return (kelWord() & bit) != 0; }
    static bool flagOfBoth(const VFPtrInterface& a, const VFPtrInterface& b, U32 bit) noexcept {
        return (a.kelWord() & b.kelWord() & bit) != 0;
    }

    void setFlag(U32 bit, bool on) noexcept {
        if (threadSafePointers_) {
            on ? std::atomic_ref(word_).fetch_or(bit, std::memory_order_relaxed)
               : std::atomic_ref(word_).fetch_and(~bit, std::memory_order_relaxed);
        } else {
            word_ = on ? word_ | bit : word_ & ~bit;
        }
    }

  private:
    U32 kelWord() const noexcept {
        // A relaxed load costs what a plain one does, so there is no need to look at the switch.
        return std::atomic_ref(word_).load(std::memory_order_relaxed);
    }

    alignas(std::atomic_ref<U32>::required_alignment) mutable U32 word_ = 0;
};

} // namespace Kel
