#pragma once

#include "framework/PtrInterface.h"

namespace Kel {

/// The live objects to which a pointer has been printed, by number. Numbers rise and are not
/// reused. Belongs to the notification thread, like all printing.
class PrintedObjects {
  public:
    /// The object's number; gives it one when it has none.
    static U32 numberOf(const PtrInterface& object);
    /// The live, counted object of that number, or null.
    static const PtrInterface* object(U32 number) noexcept;
    /// Forgets the object, when it has a number. Called as soon as an object begins to die.
    static void drop(const PtrInterface& object) noexcept {
        if (object.printedNumber_ != 0) [[unlikely]] {
            forget(object);
        }
    }

  private:
    static void forget(const PtrInterface& object) noexcept;
};

} // namespace Kel
