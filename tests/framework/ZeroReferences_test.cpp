#include <gtest/gtest.h>

#include "tests/framework/Fixtures.h"
#include "tests/support/VirtualSlots.h"

namespace {

using framework_test::Notifier;
using framework_test::Widget;

/// Acts when its notifier loses the last reference.
struct Mourner : Kel::PtrInterface::NotifieeConst {
    std::function<void(Mourner&)> whenZero;
    int told = 0;

    explicit Mourner(const Kel::PtrInterface* object) { notifierIs(object); }
    void onZeroReferences() override {
        ++told;
        if (whenZero) {
            whenZero(*this);
        }
    }
};

TEST(ZeroReferences, NotifieesAreToldOnceBeforeTheObjectDiesEvenWhenTheyAreInactive) {
    int destructions = 0;
    Notifier::Ptr notifier = new Notifier(&destructions);
    Mourner mourner(notifier.ptr());
    mourner.whenZero = [&](Mourner& self) {
        EXPECT_EQ(destructions, 0);
        EXPECT_NE(self.notifier(), nullptr);
    };
    notifier = nullptr;
    EXPECT_EQ(mourner.told, 1);
    EXPECT_EQ(destructions, 1);
    EXPECT_EQ(mourner.notifier(), nullptr);
    EXPECT_FALSE(mourner.isRegisteredNotifiee());
}

TEST(ZeroReferences, APassingReferenceOfANotifieeDoesNotStartZeroHandlingAgain) {
    int destructions = 0;
    Notifier::Ptr notifier = new Notifier(&destructions);
    Mourner mourner(notifier.ptr());
    mourner.whenZero = [](Mourner& self) {
        const Kel::PtrInterface::PtrConst passing = self.notifier();
    };
    notifier = nullptr;
    EXPECT_EQ(mourner.told, 1);
    EXPECT_EQ(destructions, 1);
}

TEST(ZeroReferences, AReferenceThatANotifieeKeepsResurrectsTheObject) {
    int destructions = 0;
    Notifier::Ptr notifier = new Notifier(&destructions);
    Kel::PtrInterface::PtrConst kept;
    Mourner mourner(notifier.ptr());
    mourner.whenZero = [&](Mourner& self) { kept = self.notifier(); };
    const Kel::PtrInterface* address = notifier.ptr();

    notifier = nullptr;
    EXPECT_EQ(destructions, 0);
    EXPECT_EQ(kept, address);
    EXPECT_EQ(kept->kelReferenceCount(), 1u);
    EXPECT_TRUE(mourner.isRegisteredNotifiee());

    mourner.whenZero = nullptr;
    kept = nullptr;
    EXPECT_EQ(mourner.told, 2);
    EXPECT_EQ(destructions, 1);
}

TEST(ZeroReferences, AReferenceKeptByOneNotifieeAndDroppedByTheNextDoesNotSaveTheObject) {
    int destructions = 0;
    Notifier::Ptr notifier = new Notifier(&destructions);
    Kel::PtrInterface::PtrConst kept;
    Mourner first(notifier.ptr());
    Mourner second(notifier.ptr());
    first.whenZero = [&](Mourner& self) { kept = self.notifier(); };
    second.whenZero = [&](Mourner&) { kept = nullptr; };
    notifier = nullptr;
    EXPECT_EQ(destructions, 1);
    EXPECT_EQ(first.told, 1);
    EXPECT_EQ(second.told, 1);
}

TEST(ZeroReferences, ANotifieeMayUnregisterWhenToldAndTheOthersAreStillTold) {
    Notifier::Ptr notifier = new Notifier;
    Mourner first(notifier.ptr());
    Mourner second(notifier.ptr());
    first.whenZero = [](Mourner& self) { self.notifierIs(nullptr); };
    notifier = nullptr;
    EXPECT_EQ(first.told, 1);
    EXPECT_EQ(second.told, 1);
}

TEST(ZeroReferences, OnlyTrueStartsTheHandling) {
    int destructions = 0;
    const Widget::Ptr widget = new Widget(&destructions);
    widget->zeroReferencesIs(false);
    EXPECT_EQ(destructions, 0);
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
}

TEST(ZeroReferences, AClassMayDecideOtherwise) {
    struct Immortal : Widget {
        using Widget::Widget;
        int zeros = 0;
        void zeroReferencesIs(bool zero) override { zeros += zero; }
    };
    int destructions = 0;
    {
        Immortal immortal(&destructions);
        { const Kel::Ptr<Immortal> passing = &immortal; }
        EXPECT_EQ(immortal.zeros, 1);
        EXPECT_EQ(destructions, 0);
    }
    EXPECT_EQ(destructions, 1);
}

using virtual_slots::callSlot;
using virtual_slots::slotOf;

TEST(VirtualSlots, ACountedObjectHasItsFiveOperationsInOrder) {
    EXPECT_EQ(slotOf(&Kel::PtrInterface::notifieeList), 0u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::zeroReferencesIs), 2u);
    EXPECT_EQ(slotOf(static_cast<const Kel::Type* (Kel::PtrInterface::*)() const>(
                  &Kel::PtrInterface::fwkType)),
              3u);
}

TEST(VirtualSlots, CallsThroughTheSlotsOfACountedObjectReachItsOperations) {
    int destructions = 0;
    auto* notifier = new Notifier(&destructions);
    Kel::PtrInterface& object = *notifier;
    EXPECT_EQ(callSlot<Kel::NotifieeList*>(object, 0), notifier->notifieeList());
    callSlot<void>(object, 1, false);
    EXPECT_FALSE(notifier->hasNotificationActive());
    EXPECT_EQ(callSlot<const Kel::Type*>(object, 3), &Notifier::fwkType_);
    callSlot<void>(object, 5); // the deleting destructor, after the plain one
    EXPECT_EQ(destructions, 1);
    callSlot<void>(static_cast<Kel::PtrInterface&>(*new Notifier(&destructions)), 2, true);
    EXPECT_EQ(destructions, 2);
}

TEST(VirtualSlots, ANotifieeAddsItsOperationsBehindTheDestructors) {
    using N = Kel::PtrInterface::NotifieeConst;
    EXPECT_EQ(slotOf(&N::handleNotification), 6u);
    EXPECT_EQ(slotOf(&N::onNotificationException), 7u);
    EXPECT_EQ(slotOf(&N::onZeroReferences), 8u);
    EXPECT_EQ(slotOf(&N::onAttribute), 9u);
    EXPECT_EQ(slotOf(&N::kelFwkActivity), 10u);
    EXPECT_EQ(slotOf(&N::actsm), 11u);
    EXPECT_EQ(slotOf(static_cast<void (N::*)(const Kel::PtrInterface::PtrConst&)>(&N::notifierIs)),
              12u);
}

} // namespace
