#pragma once

#include "framework/PtrInterface.h"

namespace LagAgent {

/// A scope in which nobody is told of an object's changes: the driver makes no PD call for them.
class Silence {
  public:
    explicit Silence(Kel::PtrInterface& object)
        : object_(object), wasActive_(object.hasNotificationActive()) {
        object_.hasNotificationActiveIs(false);
    }
    ~Silence() { object_.hasNotificationActiveIs(wasActive_); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    Kel::PtrInterface& object_;
    bool wasActive_;
};

/// Makes a change; when it throws, takes it back, and the exception goes on.
template <class Change, class Undo>
void changeOrUndo(Change&& change, Undo&& undo) {
    try {
        change();
    } catch (...) {
        undo();
        throw;
    }
}

} // namespace LagAgent
