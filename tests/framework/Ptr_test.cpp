#include <gtest/gtest.h>

#include <type_traits>
#include <unordered_set>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Gadget;
using framework_test::Widget;
using Kel::Ptr;

static_assert(std::is_convertible_v<Ptr<Gadget>, Ptr<Widget>>);
static_assert(std::is_convertible_v<Ptr<Widget>, Ptr<Widget const>>);
static_assert(!std::is_convertible_v<Ptr<Widget>, Ptr<Gadget>>);
static_assert(!std::is_convertible_v<Ptr<Widget const>, Ptr<Widget>>);
static_assert(std::is_nothrow_move_constructible_v<Ptr<Widget>>);
static_assert(sizeof(Ptr<Widget>) == sizeof(void*));

/// Every test runs with counts of both kinds.
class PtrTest : public testing::TestWithParam<bool> {
  protected:
    PtrTest() { Kel::VFPtrInterface::threadSafePointers_ = GetParam(); }
    ~PtrTest() override { Kel::VFPtrInterface::threadSafePointers_ = false; }

    int destructions_ = 0;
};

INSTANTIATE_TEST_SUITE_P(CountKinds, PtrTest, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Atomic" : "Plain"; });

TEST_P(PtrTest, AnObjectStartsWithoutReferencesAndItsFirstPointerOwnsIt) {
    auto* widget = new Widget(&destructions_);
    EXPECT_EQ(widget->kelReferenceCount(), 0u);
    {
        Ptr<Widget> owner = widget;
        EXPECT_EQ(widget->kelReferenceCount(), 1u);
        EXPECT_EQ(owner.ptr(), widget);
        EXPECT_EQ(&*owner, widget);
        EXPECT_TRUE(owner);
    }
    EXPECT_EQ(destructions_, 1);
}

TEST_P(PtrTest, CopyingTakesAReferenceAndDestructionDropsIt) {
    Ptr<Widget> owner = new Widget(&destructions_);
    {
        Ptr<Widget> copy = owner;
        Ptr<Widget> assigned;
        assigned = copy;
        EXPECT_EQ(owner->kelReferenceCount(), 3u);
    }
    EXPECT_EQ(owner->kelReferenceCount(), 1u);
    EXPECT_EQ(destructions_, 0);
}

TEST_P(PtrTest, AssignmentReleasesThePreviousObject) {
    int otherDestructions = 0;
    Ptr<Widget> pointer = new Widget(&destructions_);
    const Ptr<Widget> other = new Widget(&otherDestructions);
    pointer = other;
    EXPECT_EQ(destructions_, 1);
    EXPECT_EQ(other->kelReferenceCount(), 2u);
    pointer = nullptr;
    EXPECT_EQ(other->kelReferenceCount(), 1u);
    EXPECT_EQ(otherDestructions, 0);
}

TEST_P(PtrTest, AssigningAPointerToItselfKeepsItsObject) {
    Ptr<Widget> pointer = new Widget(&destructions_);
    Ptr<Widget>& alias = pointer;
    pointer = alias;
    EXPECT_EQ(pointer->kelReferenceCount(), 1u);
    pointer = std::move(alias);
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer->kelReferenceCount(), 1u);
    EXPECT_EQ(destructions_, 0);
}

TEST_P(PtrTest, MovesTouchNoCountAndLeaveNullBehind) {
    Ptr<Gadget> source = new Gadget(&destructions_);
    Gadget* gadget = source.ptr();
    Ptr<Gadget> constructed = std::move(source);
    EXPECT_EQ(gadget->kelReferenceCount(), 1u);
    EXPECT_EQ(source, nullptr); // NOLINT: the state after a move is part of the contract
    Ptr<Gadget> assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(gadget->kelReferenceCount(), 1u);
    EXPECT_EQ(constructed, nullptr);
    Ptr<Widget> converted = std::move(assigned);
    EXPECT_EQ(gadget->kelReferenceCount(), 1u);
    EXPECT_EQ(assigned, nullptr);
    EXPECT_EQ(converted, gadget);
    EXPECT_EQ(destructions_, 0);
}

TEST_P(PtrTest, ConvertingToABaseOrToConstTakesAReference) {
    Ptr<Gadget> gadget = new Gadget(&destructions_);
    Ptr<Widget> widget = gadget;
    Ptr<Kel::PtrInterface const> object = gadget;
    EXPECT_EQ(gadget->kelReferenceCount(), 3u);
    EXPECT_EQ(widget, gadget);
    EXPECT_EQ(object, gadget);
}

TEST_P(PtrTest, NullIsAllowedEverywhere) {
    Ptr<Widget> null;
    Ptr<Widget> copy = null;
    Ptr<Widget const> converted = null;
    Ptr<Widget> moved = std::move(copy);
    null = moved;
    EXPECT_FALSE(null);
    EXPECT_EQ(null, nullptr);
    EXPECT_EQ(null.ptr(), nullptr);
    EXPECT_EQ(converted, null);
    EXPECT_EQ(null.detach(), nullptr);
    EXPECT_EQ(Ptr<Widget>(nullptr), Ptr<Widget>(static_cast<Widget*>(nullptr)));
    EXPECT_EQ(Kel::dynamicPtrCast<Gadget>(null), nullptr);
}

TEST_P(PtrTest, DetachHandsTheReferenceOutAndAdoptTakesItBack) {
    Ptr<Widget> pointer = new Widget(&destructions_);
    Widget* held = pointer.detach();
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(held->kelReferenceCount(), 1u);
    {
        const auto adopted = Ptr<Widget>::adopt(held);
        EXPECT_EQ(held->kelReferenceCount(), 1u);
        EXPECT_EQ(destructions_, 0);
    }
    EXPECT_EQ(destructions_, 1);
}

TEST_P(PtrTest, EqualityAndHashGoByTheAddress) {
    const Ptr<Widget> a = new Widget;
    const Ptr<Widget> b = new Widget;
    const Ptr<Widget> sameAsA = a;
    EXPECT_EQ(a, sameAsA);
    EXPECT_NE(a, b);
    EXPECT_EQ(a, a.ptr());
    EXPECT_NE(a, b.ptr());
    EXPECT_NE(a, nullptr);
    const std::unordered_set<Ptr<Widget>> set{a, b, sameAsA};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_TRUE(set.contains(sameAsA));
    EXPECT_EQ(std::hash<Ptr<Widget>>{}(a), std::hash<Ptr<Widget>>{}(sameAsA));
}

TEST_P(PtrTest, SwapExchangesObjectsWithoutTouchingCounts) {
    Ptr<Widget> a = new Widget;
    Ptr<Widget> b;
    Widget* widget = a.ptr();
    a.swap(b);
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(b, widget);
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
}

TEST_P(PtrTest, ADynamicCastFindsTheClassOrGivesNull) {
    const Ptr<Widget> gadget = new Gadget;
    const Ptr<Widget> widget = new Widget;
    EXPECT_EQ(Kel::dynamicPtrCast<Gadget>(gadget), gadget);
    EXPECT_EQ(gadget->kelReferenceCount(), 1u);
    EXPECT_EQ(Kel::dynamicPtrCast<Gadget>(widget), nullptr);
}

TEST_P(PtrTest, TheCountIsTheWordWithoutBits31And29) {
    EXPECT_EQ(Kel::VFPtrInterface::kCountMask, 0x5fffffffu);
    const Ptr<Widget> widget = new Widget;
    widget->kelMarkedForDeletionIs(true);
    widget->hasNotificationActiveIs(true);
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
    const Ptr<Widget> second = widget;
    EXPECT_EQ(widget->kelReferenceCount(), 2u);
    EXPECT_TRUE(widget->kelMarkedForDeletion());
    EXPECT_TRUE(widget->hasNotificationActive());
}

TEST_P(PtrTest, TheWordReadAsSignedTellsTheDeletionMark) {
    const Ptr<Widget> widget = new Widget;
    EXPECT_FALSE(widget->kelMarkedForDeletion());
    widget->hasNotificationActiveIs(true);
    EXPECT_FALSE(widget->kelMarkedForDeletion());
    widget->kelMarkedForDeletionIs(true);
    EXPECT_TRUE(widget->kelMarkedForDeletion());
    widget->kelMarkedForDeletionIs(true);
    widget->hasNotificationActiveIs(false);
    EXPECT_TRUE(widget->kelMarkedForDeletion());
    EXPECT_FALSE(widget->hasNotificationActive());
    widget->kelMarkedForDeletionIs(false);
    EXPECT_FALSE(widget->kelMarkedForDeletion());
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
}

TEST_P(PtrTest, AMarkedWordOfCountOneReachesZeroHandlingWhenReleasedOnce) {
    Ptr<Widget> widget = new Widget(&destructions_);
    widget->kelMarkedForDeletionIs(true);
    widget = nullptr;
    EXPECT_EQ(destructions_, 1);
}

TEST_P(PtrTest, AnActiveWordOfCountOneReachesZeroHandlingWhenReleasedOnce) {
    Ptr<Widget> widget = new Widget(&destructions_);
    widget->hasNotificationActiveIs(true);
    widget = nullptr;
    EXPECT_EQ(destructions_, 1);
}

TEST_P(PtrTest, AReferenceTakenAndDroppedByTheDestructorDoesNotDestroyAgain) {
    Ptr<Widget> widget = new Widget(&destructions_);
    int visits = 0;
    widget->whileDying = [&](Widget& dying) {
        for (int i = 0; i < 3; ++i) {
            const Ptr<Widget> passing = &dying;
            const Ptr<Widget const> another = passing;
            ++visits;
        }
    };
    widget = nullptr;
    EXPECT_EQ(visits, 3);
    EXPECT_EQ(destructions_, 1);
}

TEST(PtrSwitch, TheThreadSafeSwitchIsOffAtStartAndReadAtEveryOperation) {
    bool& atomic = Kel::VFPtrInterface::threadSafePointers_;
    EXPECT_FALSE(atomic);
    int destructions = 0;
    Ptr<Widget> a = new Widget(&destructions);
    atomic = true;
    Ptr<Widget> b = a;
    atomic = false;
    Ptr<Widget> c = b;
    EXPECT_EQ(a->kelReferenceCount(), 3u);
    a = nullptr;
    atomic = true;
    b = nullptr;
    atomic = false;
    EXPECT_EQ(c->kelReferenceCount(), 1u);
    c = nullptr;
    EXPECT_EQ(destructions, 1);
}

} // namespace
