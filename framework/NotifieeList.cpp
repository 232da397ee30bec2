#include "framework/NotifieeList.h"

#include <algorithm>
#include <utility>

#include "framework/Notifiee.h"

namespace Kel {

/**
 * A notifiee being told, and a visit of a list. Both nest, those of one list and those of different
 * lists alike; `Scope` links them while they are under way.
 *
 * Whoever dies looks here whether it is still needed. So the plain case, in which nobody dies and
 * nobody throws, pays for the links alone, and for a note of who is told.
 */
struct NotifieeList::Telling {
    /// Null once it has died.
    PtrInterface::NotifieeConst* told = nullptr;
    Telling* outer = nullptr;

    inline static Telling* innermost = nullptr;

    /// An exception has left the notifiee, which hears of it if it is alive.
    void handleException() const {
        if (told) {
            told->onNotificationException();
        }
    }
};

struct NotifieeList::Visit {
    /// Null once it has died, or when the visit is over.
    const NotifieeList* list;
    /// Behind the last slot to visit; 0 once the list has died.
    U32 end;
    Visit* outer = nullptr;

    inline static Visit* innermost = nullptr;

    static bool isUnderWay(const NotifieeList& list) noexcept {
        const Visit* visit = innermost;
        while (visit && visit->list != &list) {
            visit = visit->outer;
        }
        return visit != nullptr;
    }
};

/// It remembers the outer frame itself, in a register: waiting for a value to come back from memory
/// would be most of what telling one notifiee takes.
template <class Frame>
class NotifieeList::Scope {
  public:
    explicit Scope(Frame& frame) noexcept : outer_(Frame::innermost) {
        frame.outer = outer_;
        Frame::innermost = &frame;
    }
    ~Scope() { Frame::innermost = outer_; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

  private:
    Frame* outer_;
};

NotifieeList::~NotifieeList() {
    // A visit keeps the list's size above 0. Without notifiees nothing shared is looked at, so that
    // such an object can die on any thread.
    for (Visit* visit = size_ != 0 ? Visit::innermost : nullptr; visit; visit = visit->outer) {
        if (visit->list == this) {
            visit->list = nullptr;
            visit->end = 0;
        }
    }
    deleteAll();
    if (slots_ != &inline_) {
        delete[] slots_;
    }
}

void NotifieeList::dropAll() noexcept {
    for (U32 i = 0; i < size_; ++i) {
        if (PtrInterface::NotifieeConst* notifiee = slots_[i]) {
            slots_[i] = nullptr;
            ++holes_;
            notifiee->dropNotifier();
        }
    }
    while (parked_) {
        PtrInterface::NotifieeConst* notifiee = parked_;
        parked_ = notifiee->nextParked_;
        notifiee->dropNotifier();
    }
    closeGaps();
}

void NotifieeList::notifieeDied(const PtrInterface::NotifieeConst& notifiee) noexcept {
    for (Telling* telling = Telling::innermost; telling; telling = telling->outer) {
        if (telling->told == &notifiee) {
            telling->told = nullptr;
        }
    }
}

/// Tells whoever is registered now and still is when its turn comes. REQUIRES: there are slots.
template <class Tell>
void NotifieeList::tellAll(Tell&& tell) {
    Telling telling;
    const Scope<Telling> tellingScope(telling);
    Visit visit{this, size_}; // who registers from here on is not told
    const Scope<Visit> visitScope(visit);
    try {
        U32 i = 0;
        do {
            if (PtrInterface::NotifieeConst* notifiee = slots_[i]) [[likely]] {
                telling.told = notifiee;
                tell(*notifiee);
            }
        } while (++i < visit.end);
    } catch (...) {
        telling.handleException();
        throw;
    }
    if (visit.list && holes_ != 0) [[unlikely]] {
        visit.list = nullptr;
        closeGaps();
    }
}

void NotifieeList::deliver(AttributeId id, const void* key) {
    if (size_ == 1) [[likely]] {
        if (PtrInterface::NotifieeConst* only = slots_[0]) [[likely]] {
            tellOne(*only, id, key, owner_);
        }
        return;
    }
    deliverToAll(id, key);
}

void NotifieeList::deliverToAll(AttributeId id, const void* key) {
    const PtrInterface& owner = owner_;
    tellAll([&owner, id, key](PtrInterface::NotifieeConst& notifiee) {
        if (PtrInterface::haveNotificationActive(notifiee, owner)) [[likely]] {
            notifiee.onAttribute(id, key);
        }
    });
}

void NotifieeList::tellOne(PtrInterface::NotifieeConst& notifiee, AttributeId id, const void* key,
                           const PtrInterface& owner) {
    if (!PtrInterface::haveNotificationActive(notifiee, owner)) [[unlikely]] {
        return;
    }
    Telling telling{&notifiee};
    const Scope<Telling> scope(telling);
    try {
        notifiee.onAttribute(id, key);
    } catch (...) {
        telling.handleException();
        throw;
    }
}

void NotifieeList::visitZeroReferences() {
    if (size_ != 0) {
        tellAll([](PtrInterface::NotifieeConst& notifiee) { notifiee.onZeroReferences(); });
    }
}

void NotifieeList::newMember(PtrInterface::NotifieeConst& notifiee) {
    if (size_ == capacity_) {
        grow();
    }
    slots_[size_] = &notifiee;
    notifiee.slot_ = size_++;
    notifiee.isRegistered_ = true;
}

void NotifieeList::deleteMember(PtrInterface::NotifieeConst& notifiee) noexcept {
    slots_[notifiee.slot_] = nullptr;
    notifiee.isRegistered_ = false;
    ++holes_;
    // Closing gaps only when they are half of the slots keeps unregistering at constant cost.
    if (holes_ * 2 >= size_) {
        closeGaps();
    }
}

void NotifieeList::park(PtrInterface::NotifieeConst& notifiee) noexcept {
    notifiee.nextParked_ = parked_;
    parked_ = &notifiee;
}

void NotifieeList::unpark(PtrInterface::NotifieeConst& notifiee) noexcept {
    PtrInterface::NotifieeConst** link = &parked_;
    while (*link != &notifiee) {
        link = &(*link)->nextParked_;
    }
    *link = std::exchange(notifiee.nextParked_, nullptr);
}

void NotifieeList::grow() {
    if (closeGaps()) {
        return;
    }
    const U32 capacity = capacity_ * 4;
    auto** slots = new PtrInterface::NotifieeConst*[capacity];
    std::copy_n(slots_, size_, slots);
    if (slots_ != &inline_) {
        delete[] slots_;
    }
    slots_ = slots;
    capacity_ = capacity;
}

bool NotifieeList::closeGaps() noexcept {
    if (holes_ == 0 || Visit::isUnderWay(*this)) {
        return false;
    }
    U32 kept = 0;
    for (U32 i = 0; i < size_; ++i) {
        if (PtrInterface::NotifieeConst* notifiee = slots_[i]) {
            notifiee->slot_ = kept;
            slots_[kept++] = notifiee;
        }
    }
    size_ = kept;
    holes_ = 0;
    return true;
}

} // namespace Kel
