#pragma once

#include "framework/Export.h"
#include "framework/PtrInterface.h"

namespace Kel {

/**
 * The notifiees registered on one object, told in the order of registration.
 *
 * Registration does not count as a reference. A visit tolerates whatever a handler does: register
 * or unregister itself or others, destroy notifiees or even the notifier, change the same object
 * again (a nested visit), throw. A notifiee registered during a visit is not told of the change
 * under way. Slots left empty by unregistering are reused only when no visit walks the list, so
 * that a visit never meets a notifiee twice; telling an only notifiee is no walk.
 */
class KEL_EXPORT NotifieeList {
  public:
    explicit NotifieeList(const PtrInterface& owner) noexcept : owner_(owner) {}
    ~NotifieeList();
    NotifieeList(const NotifieeList&) = delete;
    NotifieeList& operator=(const NotifieeList&) = delete;

    /**
     * Tells every registered notifiee whose notifications and whose notifier's notifications are
     * active that attribute `id` changed; `key` points at the key of the affected element of a
     * collection, and is null for a scalar.
     *
     * An exception from a notifiee first reaches its `onNotificationException()`, unless the
     * handler destroyed it, and then leaves the visit at once; the remaining notifiees are not
     * told.
     */
    void visit(AttributeId id, const void* key = nullptr) const {
        if (size_ != 0) {
            const_cast<NotifieeList*>(this)->deliver(id, key);
        }
    }

    /// Tells every registered notifiee, active or not, that the object has lost its last reference.
    void visitZeroReferences();

    /// Drops all notifiees; each is left without a notifier.
    void deleteAll() noexcept {
        if (size_ != 0 || parked_) {
            dropAll();
        }
    }

    /// Number of registered notifiees.
    U32 size() const noexcept { return size_ - holes_; }

    /// Calls `visitor(PtrInterface::NotifieeConst&)` for every registered notifiee; the visitor
    /// must not register or unregister.
    template <class Visitor>
    void forEach(Visitor&& visitor) const {
        for (U32 i = 0; i < size_; ++i) {
            if (slots_[i]) {
                visitor(*slots_[i]);
            }
        }
    }

  private:
    friend class PtrInterface::NotifieeConst;
    struct [[gnu::visibility("hidden")]] Telling;
    struct [[gnu::visibility("hidden")]] Visit;
    template <class Frame>
    class Scope;

    void newMember(PtrInterface::NotifieeConst& notifiee);
    void deleteMember(PtrInterface::NotifieeConst& notifiee) noexcept;
    void park(PtrInterface::NotifieeConst& notifiee) noexcept;
    void unpark(PtrInterface::NotifieeConst& notifiee) noexcept;
    void deliver(AttributeId id, const void* key);
    /// Not inlined, as an only notifiee then is told without saving registers.
    [[gnu::noinline]] void deliverToAll(AttributeId id, const void* key);
    /// Tells one notifiee of `owner` under the rules of a visit, and touches neither it nor the
    /// list after that.
    static void tellOne(PtrInterface::NotifieeConst& notifiee, AttributeId id, const void* key,
                        const PtrInterface& owner);
    /// Every notifiee says so before it dies, since a visit may be telling it.
    static void notifieeDied(const PtrInterface::NotifieeConst& notifiee) noexcept;
    template <class Tell>
    void tellAll(Tell&& tell);
    void dropAll() noexcept;
    void grow();
    /// Closes the gaps among the slots, if there are any and no visit is under way; true when it
    /// did.
    bool closeGaps() noexcept;

    const PtrInterface& owner_;
    /// Most objects have exactly one notifiee, which then needs no allocation.
    PtrInterface::NotifieeConst* inline_ = nullptr;
    PtrInterface::NotifieeConst** slots_ = &inline_;
    /// Notifiees that have unregistered without forgetting the object: they must learn when it
    /// dies.
    PtrInterface::NotifieeConst* parked_ = nullptr;
    U32 size_ = 0;
    U32 capacity_ = 1;
    U32 holes_ = 0;
};

} // namespace Kel
