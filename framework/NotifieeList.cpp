#include "framework/NotifieeList.h"

#include <algorithm>

#include "framework/Notifiee.h"

namespace Kel {

/// A visit under way. Visits of one list nest; the outermost one closes the gaps when it ends.
struct NotifieeList::Visit {
    // The compiler takes the link for one that outlives the visit, as it does not see that the
    // destructor undoes it unless the list is gone.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
    explicit Visit(NotifieeList& list) noexcept : list_(&list), outer_(list.innermost_) {
        list.innermost_ = this;
    }
#pragma GCC diagnostic pop
    ~Visit() {
        if (list_) {
            list_->innermost_ = outer_;
            if (!outer_ && list_->holes_ != 0) {
                list_->compact();
            }
        }
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    /// Null once the list has died under the visit.
    NotifieeList* list_;
    Visit* outer_;
};

NotifieeList::~NotifieeList() {
    for (Visit* visit = innermost_; visit; visit = visit->outer_) {
        visit->list_ = nullptr;
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
    if (!innermost_) {
        compact();
    }
}

template <class Tell>
void NotifieeList::forEachTolerant(Tell&& tell) {
    Visit visit(*this);
    const U32 end = size_; // who registers from here on is not told
    for (U32 i = 0; i < end; ++i) {
        PtrInterface::NotifieeConst* notifiee = slots_[i];
        if (!notifiee) {
            continue;
        }
        tell(*notifiee);
        if (!visit.list_) {
            return;
        }
    }
}

void NotifieeList::deliver(AttributeId id, const void* key) {
    forEachTolerant([&](PtrInterface::NotifieeConst& notifiee) {
        if (notifiee.hasNotificationActive() && owner_.hasNotificationActive()) {
            notifiee.tell(id, key);
        }
    });
}

void NotifieeList::visitZeroReferences() {
    forEachTolerant([](PtrInterface::NotifieeConst& notifiee) { notifiee.onZeroReferences(); });
}

void NotifieeList::newMember(PtrInterface::NotifieeConst& notifiee) {
    if (size_ == capacity_) {
        grow();
    }
    slots_[size_] = &notifiee;
    notifiee.list_ = this;
    notifiee.slot_ = size_++;
}

void NotifieeList::deleteMember(PtrInterface::NotifieeConst& notifiee) noexcept {
    slots_[notifiee.slot_] = nullptr;
    notifiee.list_ = nullptr;
    ++holes_;
    // Closing gaps only when they are half of the slots keeps unregistering at constant cost.
    if (!innermost_ && holes_ * 2 >= size_) {
        compact();
    }
}

void NotifieeList::grow() {
    if (!innermost_ && holes_ != 0) {
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
