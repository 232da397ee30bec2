#include "framework/Notifiee.h"

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
    for (Telling* telling = telling_; telling; telling = telling->outer_) {
        telling->notifiee_ = nullptr;
    }
    isRegisteredNotifieeIs(false);
}

void PtrInterface::NotifieeConst::handleNotification(ActivityConfig* config) {
    if (!isRegisteredNotifiee() || !hasNotificationActive() ||
        !notifier()->hasNotificationActive()) {
        return;
    }
    tell(config->attributeId, config->key);
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
    if (notifier == notifier_) {
        return;
    }
    isRegisteredNotifieeIs(false);
    notifier_ = notifier;
    isRegisteredNotifieeIs(true);
}

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
    if (registered == isRegisteredNotifiee()) {
        return;
    }
    if (!registered) {
        list_->deleteMember(*this);
    } else if (NotifieeList* list = notifier_ ? notifier_->notifieeList() : nullptr) {
        list->newMember(*this);
    }
}

void PtrInterface::NotifieeConst::dropNotifier() noexcept {
    notifier_ = nullptr;
    list_ = nullptr;
}

} // namespace Kel
