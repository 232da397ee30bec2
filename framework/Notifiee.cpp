#include "framework/Notifiee.h"

#include "framework/Assert.h"
#include "framework/Type.h"

namespace Kel {

constinit const Type PtrInterface::NotifieeConst::fwkType_{.name =
                                                               "Kel::PtrInterface::NotifieeConst",
                                                           .kind = Type::Kind::object,
                                                           .base = &PtrInterface::fwkType_};

Activity& Activity::notification() noexcept {
    static constinit Activity activity("notification");
    return activity;
}

PtrInterface::NotifieeConst::~NotifieeConst() {
    forgetNotifier();
    NotifieeList::notifieeDied(*this);
}

void PtrInterface::NotifieeConst::handleNotification(ActivityConfig* config) {
    assertThat(config != nullptr, "config");
    if (isRegistered_) {
        NotifieeList::tellOne(*this, config->attributeId, config->key, *notifier_);
    }
}

void PtrInterface::NotifieeConst::onNotificationException() {}
void PtrInterface::NotifieeConst::onZeroReferences() {}
void PtrInterface::NotifieeConst::onAttribute(AttributeId, const void*) {}
Activity* PtrInterface::NotifieeConst::kelFwkActivity() const {
    return &Activity::notification();
}
Activity* PtrInterface::NotifieeConst::actsm() const {
    return kelFwkActivity();
}
const Type* PtrInterface::NotifieeConst::fwkType() const {
    return &fwkType_;
}

void PtrInterface::NotifieeConst::notifierIs(const Kel::Ptr<PtrInterface const>& notifier) {
    notifierIs(notifier.ptr());
}

void PtrInterface::NotifieeConst::notifierIs(const PtrInterface* notifier) {
    NotifieeList* list = notifier ? notifier->notifieeList() : nullptr;
    if (!list) {
        notifier = nullptr;
    }
    if (notifier == notifier_) {
        return;
    }
    forgetNotifier();
    if (list) {
        list->newMember(*this);
        notifier_ = notifier;
    }
}

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
    if (registered == isRegistered_ || !notifier_) {
        return;
    }
    NotifieeList& list = *notifier_->notifieeList();
    if (registered) {
        list.newMember(*this);
        list.unpark(*this);
    } else {
        list.deleteMember(*this);
        list.park(*this);
    }
}

void PtrInterface::NotifieeConst::forgetNotifier() noexcept {
    if (notifier_) {
        NotifieeList& list = *notifier_->notifieeList();
        isRegistered_ ? list.deleteMember(*this) : list.unpark(*this);
        dropNotifier();
    }
}

void PtrInterface::NotifieeConst::dropNotifier() noexcept {
    notifier_ = nullptr;
    nextParked_ = nullptr;
    isRegistered_ = false;
}

} // namespace Kel
