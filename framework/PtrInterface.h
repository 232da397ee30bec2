#pragma once

#include <cstddef>

#include "framework/Export.h"
#include "framework/Ptr.h"
#include "framework/VFPtrInterface.h"

namespace Kel {

class NotifieeList;
class Type;

/**
 * Base of every counted object.
 *
 * An object starts with no reference; the first `Ptr` to it owns it. When the last reference is
 * dropped, `zeroReferencesIs(true)` tells the registered notifiees (`onZeroReferences`) and, unless
 * one of them took a reference and kept it, destroys the object. While an object is being destroyed
 * it is pinned, so its destructor may hand `this` to code that takes and drops a `Ptr`.
 *
 * Objects may also live on the stack or inside others, as long as nobody makes a `Ptr` to them: the
 * last `Ptr` destroys. Entities belong on the heap, since asking a child for its parent makes one.
 *
 * The virtual operations stand in the order that every class of the system relies on.
 */
class KEL_EXPORT PtrInterface : public VFPtrInterface {
  public:
    class NotifieeConst;
    using Ptr = Kel::Ptr<PtrInterface>;
    using PtrConst = Kel::Ptr<PtrInterface const>;

    /// The notifiees registered on this object; null for a class that announces nothing.
    virtual NotifieeList* notifieeList() const;
    /// Switches notifications from this object (for a notifiee: to it) on or off. Off at first.
    virtual void hasNotificationActiveIs(bool active);
    /// Called with true when the last reference is gone; see the class comment.
    virtual void zeroReferencesIs(bool zero);
    /// The registered type of the object's class.
    virtual const Type* fwkType() const;
    virtual ~PtrInterface();

    bool hasNotificationActive() const noexcept { return flag(kNotificationActiveBit); }
    /// Whether both objects have.
    static bool haveNotificationActive(const PtrInterface& a, const PtrInterface& b) noexcept {
        return flagOfBoth(a, b, kNotificationActiveBit);
    }

    /// What `Ptr` calls when it drops the last reference.
    void handleZeroRef() const;

    /// Raw memory for objects; the class-level operators of `Tracked` come here.
    static void* kelMemAlloc(std::size_t size);
    static void kelMemFree(void* memory, std::size_t size) noexcept;

    /// The type of the base class itself, the root of all object types.
    static const Type fwkType_;

  protected:
    PtrInterface() = default;

  private:
    friend class PrintedObjects;
    /// Number under which value strings name this object; 0 until it is first printed.
    mutable U32 printedNumber_ = 0;
};

/**
 * Keeps an object alive through code that may drop its last reference, or that may take and drop
 * references before the first owner has taken one (a constructor, an object on the stack).
 *
 * When the object had an owner, the end of the pin may be the end of the object.
 */
class Pin {
  public:
    explicit Pin(const PtrInterface& object) noexcept
        : object_(object), hadOwner_(object.kelReferenceCount() != 0) {
        object_.kelReferenceTake();
    }
    ~Pin() {
        if (object_.kelReferenceDrop() && hadOwner_) {
            object_.handleZeroRef();
        }
    }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

  private:
    const PtrInterface& object_;
    bool hadOwner_;
};

} // namespace Kel
