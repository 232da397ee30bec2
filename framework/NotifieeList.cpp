#include "framework/NotifieeList.h"

#include <algorithm>
#include <utility>

#include "framework/Notifiee.h"

namespace Kel {

/// A visit under way. Visits nest, those of one list and those of different lists alike; the last
/// one of a list closes the gaps among its slots.
class NotifieeList::Visit {
  public:
    // The compiler takes the link for one that outlives the visit, as it does not see that the
    // destructor undoes it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
    explicit Visit(NotifieeList& list) noexcept : list_(&list), outer_(innermost_) {
        innermost_ = this;
        ++list.visits_;
    }
#pragma GCC diagnostic pop
    ~Visit() {
        innermost_ = outer_;
        if (list_ && --list_->visits_ == 0 && list_->holes_ != 0) {
            list_->compact();
        }
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    /// Runs `tell(notifiee)`; an exception from it first reaches the notifiee, if that is alive.
    template <class Tell>
    void run(PtrInterface::NotifieeConst& notifiee, Tell&& tell) {
        told_ = &notifiee;
        try {
            tell(notifiee);
        } catch (...) {
            if (told_) {
                told_->onNotificationException();
            }
            throw;
        }
    }

    bool isListAlive() const noexcept {
        return list_ != nullptr;
    }

    static void listDied(const NotifieeList& list) noexcept {
        for (Visit* visit = innermost_; visit; visit = visit->outer_) {
            if (visit->list_ == &list) {
                visit->list_ = nullptr;
            }
        }
    }
    static void notifieeDied(const PtrInterface::NotifieeConst& notifiee) noexcept {
        for (Visit* visit = innermost_; visit; visit = visit->outer_) {
            if (visit->told_ == &notifiee) {
                visit->told_ = nullptr;
            }
        }
    }

  private:
    /// All visits of the notification thread.
    inline static Visit* innermost_ = nullptr;

    NotifieeList* list_;
    PtrInterface::NotifieeConst* told_ = nullptr;
    Visit* outer_;
};

NotifieeList::~NotifieeList() {
    if (visits_ != 0) {
        Visit::listDied(*this);
    }
    deleteAll();
    if (slots_ != &inline_) {
        delete[] slots_;
    }
}

void NotifieeList::deleteAll() noexcept {
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
    if (visits_ == 0) {
        compact();
    }
}

void NotifieeList::notifieeDied(const PtrInterface::NotifieeConst& notifiee) noexcept {
    Visit::notifieeDied(notifiee);
}

template <class Tell>
void NotifieeList::forEachTolerant(Tell&& tell) {
    Visit visit(*this);
    const U32 end = size_; // who registers from here on is not told
    for (U32 i = 0; i < end; ++i) {
        if (PtrInterface::NotifieeConst* notifiee = slots_[i]) [[likely]] {
            visit.run(*notifiee, tell);
            if (!visit.isListAlive()) [[unlikely]] {
                return;
            }
        }
    }
}

void NotifieeList::deliver(AttributeId id, const void* key) {
    const PtrInterface& owner = owner_;
    forEachTolerant([&](PtrInterface::NotifieeConst& notifiee) {
        if (notifiee.hasNotificationActive() && owner.hasNotificationActive()) [[likely]] {
            notifiee.onAttribute(id, key);
        }
    });
}

void NotifieeList::deliverTo(PtrInterface::NotifieeConst& notifiee, AttributeId id,
                             const void* key) {
    if (notifiee.hasNotificationActive() && owner_.hasNotificationActive()) {
        Visit(*this).run(notifiee, [&](auto& told) { told.onAttribute(id, key); });
    }
}

void NotifieeList::visitZeroReferences() {
    forEachTolerant([](PtrInterface::NotifieeConst& notifiee) { notifiee.onZeroReferences(); });
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
    if (visits_ == 0 && holes_ * 2 >= size_) {
        compact();
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
    if (visits_ == 0 && holes_ != 0) {
        compact();
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

void NotifieeList::compact() noexcept {
    U32 kept = 0;
    for (U32 i = 0; i < size_; ++i) {
        if (PtrInterface::NotifieeConst* notifiee = slots_[i]) {
            notifiee->slot_ = kept;
            slots_[kept++] = notifiee;
        }
    }
    size_ = kept;
    holes_ = 0;
}

} // namespace Kel
