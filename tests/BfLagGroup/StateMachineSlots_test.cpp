// The order of the virtual operations: code built against an older library calls by slot.
#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "BfLagGroup/LagGroupTable.h"
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"
#include "tests/support/VirtualSlots.h"

namespace sm_test {
namespace {

using virtual_slots::callSlot;
using virtual_slots::kNotVirtual;
using virtual_slots::slotOf;
using KelGroupMember = Sm::KelGroup::KelGroupMember;
using KelProfile = Sm::KelLagGroupActionProfile;
using GenericNotifier = const Kel::Ptr<Kel::PtrInterface const>&;

constexpr std::size_t kDeletingDestructor = 5;

TEST(VirtualSlots, OfACountedObjectBeginWithTheFourOperationsAndThenTheDestructor) {
    EXPECT_EQ(slotOf(&Kel::PtrInterface::notifieeList), 0u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::zeroReferencesIs), 2u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::fwkType), 3u);
    // The two destructor slots are 4 and 5, as the next operation of a derived class tells.
    EXPECT_EQ(slotOf(&Sm::kelDoZombieReactors), 6u);
    EXPECT_EQ(slotOf(&Kel::PtrInterface::NotifieeConst::handleNotification), 6u);
}

TEST(VirtualSlots, OfAnEntityAddNothing) {
    EXPECT_EQ(slotOf(&Kel::Entity::notifieeList), 0u);
    EXPECT_EQ(slotOf(&Kel::Entity::fwkType), 3u);
    EXPECT_EQ(slotOf(&Kel::Entity::parentIs), kNotVirtual);
    EXPECT_EQ(slotOf(&LagGroupGroup::fwkType), 3u);
    EXPECT_EQ(slotOf(&LagGroupGroup::memberIs), kNotVirtual);
}

template <class Reactor>
void expectFrameworkSlots() {
    EXPECT_EQ(slotOf(&Reactor::notifieeList), 0u);
    EXPECT_EQ(slotOf(&Reactor::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&Reactor::zeroReferencesIs), 2u);
    EXPECT_EQ(slotOf(&Reactor::fwkType), 3u);
    EXPECT_EQ(slotOf(&Reactor::handleNotification), 6u);
    EXPECT_EQ(slotOf(&Reactor::onNotificationException), 7u);
    EXPECT_EQ(slotOf(&Reactor::onZeroReferences), 8u);
    EXPECT_EQ(slotOf(&Reactor::onAttribute), 9u);
    EXPECT_EQ(slotOf(&Reactor::kelFwkActivity), 10u);
    EXPECT_EQ(slotOf(&Reactor::actsm), 11u);
    EXPECT_EQ(slotOf(static_cast<void (Reactor::*)(GenericNotifier)>(&Reactor::notifierIs)), 12u);
}

template <class Reactor>
class ReactorSlots : public testing::Test {};
using PlainReactors = testing::Types<KelProfile, Sm::KelActionProfile, KelGroupMember>;
TYPED_TEST_SUITE(ReactorSlots, PlainReactors);

TYPED_TEST(ReactorSlots, AreTheFrameworksThenTheNotifierAndTheZombiePass) {
    expectFrameworkSlots<TypeParam>();
    EXPECT_EQ(slotOf(&TypeParam::kelDoZombieReactors), 13u);
}

TEST(VirtualSlots, OfTheGroupReactorPutItsMemberOperationsBeforeTheZombiePass) {
    using DelById = KelGroupMember::Ptr (Sm::KelGroup::*)(RuxMemberId);
    using DelAt =
        KelGroupMember::Ptr (Sm::KelGroup::*)(const Sm::KelGroup::GroupMembers::Iterator&);
    expectFrameworkSlots<Sm::KelGroup>();
    EXPECT_EQ(slotOf(static_cast<DelById>(&Sm::KelGroup::groupMemberDel)), 13u);
    EXPECT_EQ(slotOf(static_cast<DelAt>(&Sm::KelGroup::groupMemberDel)), 14u);
    EXPECT_EQ(slotOf(&Sm::KelGroup::groupMemberIs), 15u);
    EXPECT_EQ(slotOf(&Sm::KelGroup::kelDoZombieReactors), 16u);
    EXPECT_EQ(slotOf(&Sm::KelGroup::handleGroupAdd), kNotVirtual);
    EXPECT_EQ(slotOf(&Sm::KelGroup::groupMemberDelAll), kNotVirtual);
}

TEST(VirtualSlots, OfTheStateMachineEndWithItsZombiePass) {
    EXPECT_EQ(slotOf(&Sm::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&Sm::fwkType), 3u);
    EXPECT_EQ(slotOf(&Sm::kelFwkActivity), kNotVirtual);
    EXPECT_EQ(slotOf(&Sm::actionProfileIs), kNotVirtual);
}

using VirtualTables = RunningStateMachineTest;

TEST_F(VirtualTables, HoldEachReactorsOwnOperationsAndShareTheFrameworks) {
    haveEntry(1);
    haveGroup(10);
    const KelProfile::Ptr top = new KelProfile(newProfile(), nullptr);
    const auto group = groupReactor(10);
    const std::vector<const Kel::PtrInterface*> reactors{top.ptr(), memberReactor(1).ptr(),
                                                         joinedReactor(10, 1).ptr(), group.ptr()};
    for (std::size_t a = 0; a < reactors.size(); ++a) {
        for (std::size_t b = 0; b < a; ++b) {
            for (std::size_t slot : {0, 2, 3, 6, 7, 8, 10, 11}) {
                EXPECT_EQ(virtual_slots::entry(*reactors[a], slot),
                          virtual_slots::entry(*reactors[b], slot))
                    << slot;
            }
            for (std::size_t slot : {4, 5, 9, 12}) {
                EXPECT_NE(virtual_slots::entry(*reactors[a], slot),
                          virtual_slots::entry(*reactors[b], slot))
                    << slot;
            }
        }
    }
    // Passing the switch on to its members is the group reactor's own business.
    EXPECT_EQ(virtual_slots::entry(*reactors[0], 1), virtual_slots::entry(*reactors[1], 1));
    EXPECT_EQ(virtual_slots::entry(*reactors[0], 1), virtual_slots::entry(*reactors[2], 1));
    EXPECT_NE(virtual_slots::entry(*reactors[0], 1), virtual_slots::entry(*reactors[3], 1));
}

TEST_F(VirtualTables, OfReactorsGiveTheFrameworksType) {
    haveEntry(1);
    haveGroup(10);
    for (const Kel::PtrInterface* reactor : std::initializer_list<const Kel::PtrInterface*>{
             memberReactor(1).ptr(), groupReactor(10).ptr(), joinedReactor(10, 1).ptr()}) {
        EXPECT_EQ(callSlot<const Kel::Type*>(*reactor, 3),
                  &Kel::PtrInterface::NotifieeConst::fwkType_);
    }
}

TEST_F(VirtualTables, AreWhatACallBySlotGoesThrough) {
    haveEntry(1);
    const auto group = haveGroup(10);
    auto reactor = groupReactor(10);

    EXPECT_FALSE(callSlot<Kel::Ptr<KelGroupMember>>(*reactor, 13, RuxMemberId(9)));
    const Kel::Ptr<LagGroupMember const> member = group->member(RuxMemberId(1));
    EXPECT_EQ(callSlot<Kel::Ptr<KelGroupMember>>(*reactor, 15, &member), joinedReactor(10, 1));
    const Kel::U32 memberId = 3;
    callSlot<void>(*reactor, 9, Kel::AttributeId{LagGroupGroup::kMember},
                   static_cast<const void*>(&memberId));
    EXPECT_THAT(journal.take(), IsEmpty());

    callSlot<void>(*reactor, 1, false);
    EXPECT_FALSE(reactor->hasNotificationActive());
    callSlot<void>(*reactor, 1, true);

    profile->groupDel(RuxGroupId(10));
    reactor = nullptr;
    const auto actionProfile = memberReactor(1);
    journal.clear();
    callSlot<void>(*actionProfile, 13, true);
    EXPECT_TRUE(actionProfile->kelMarkedForDeletion());
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), delMember(1)));
    callSlot<void>(*sm, 6, true);
    EXPECT_TRUE(sm->kelMarkedForDeletion());
    EXPECT_THAT(journal.take(), IsEmpty());
}

/// One object of each counted class of the library.
std::vector<std::function<Kel::PtrInterface::Ptr()>> makersOfEveryClass() {
    return {
        [] { return Kel::PtrInterface::Ptr(new Kel::Entity("entity")); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupMatchSpec); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupTableHelper(0, 0)); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupTableHandles); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupTable(nullptr, nullptr, nullptr)); },
        [] { return Kel::PtrInterface::Ptr(new BfPdLagGroup::BfPdLagGroupIntf("pd", nullptr, 0)); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupBaseActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new FixL2SubintfAlignmentActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new InvalidateUcastEgressPortActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new SetLagPortActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new SetPhysicalPortActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new SetTunnelInfoActionProfileSpec); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupActionProfile("profile")); },
        [] { return Kel::PtrInterface::Ptr(entryOf(1, nullptr)); },
        [] { return Kel::PtrInterface::Ptr(groupOf(1, 1, 1, kSetLagPort)); },
        [] { return Kel::PtrInterface::Ptr(new LagGroupMember(RuxMemberId(1))); },
        [] { return Kel::PtrInterface::Ptr(new Sm(nullptr, nullptr, nullptr, nullptr)); },
    };
}

TEST(VirtualTablesOfEveryClass, AnswerTheFirstFiveOperationsBySlot) {
    const test_support::LiveObjects live;
    for (const auto& make : makersOfEveryClass()) {
        Kel::PtrInterface::Ptr object = make();
        SCOPED_TRACE(object->fwkType()->name);
        EXPECT_EQ(callSlot<Kel::NotifieeList*>(*object, 0), object->notifieeList());
        callSlot<void>(*object, 1, true);
        EXPECT_TRUE(object->hasNotificationActive());
        callSlot<void>(*object, 1, false);
        EXPECT_FALSE(object->hasNotificationActive());
        callSlot<void>(*object, 2, false); // has nothing to do
        EXPECT_EQ(callSlot<const Kel::Type*>(*object, 3), object->fwkType());
        EXPECT_EQ(object->kelReferenceCount(), 1u);
        callSlot<void>(*object.detach(), kDeletingDestructor);
    }
}

TEST(VirtualTablesOfEveryClass, HaveATypeOfTheirOwnInSlotThree) {
    std::vector<void*> seen;
    for (const auto& make : makersOfEveryClass()) {
        seen.push_back(virtual_slots::entry(*make(), 3));
    }
    std::ranges::sort(seen);
    EXPECT_EQ(std::ranges::adjacent_find(seen), seen.end());
}

TEST(VirtualSlots, OfTableExceptionsAreTheDestructorsTheTextAndTheId) {
    EXPECT_EQ(slotOf(&BfTable::BfTableException::what), 2u);
    EXPECT_EQ(slotOf(&BfTable::BfTableException::id), 3u);
}

template <class Exception>
class TableExceptionSlots : public testing::Test {};
using TableExceptions = testing::Types<BfTable::BfTableException, BfTable::BfTableFull,
                                       BfTable::BfNoSysResources, BfTable::BfNotSupported>;
TYPED_TEST_SUITE(TableExceptionSlots, TableExceptions);

TYPED_TEST(TableExceptionSlots, AnswerBySlot) {
    auto exception = std::make_unique<TypeParam>(9, Kel::String("refused"));
    EXPECT_STREQ(callSlot<const char*>(*exception, 2), "refused");
    EXPECT_EQ(callSlot<Kel::Exception::Id>(*exception, 3), 1u);
    EXPECT_EQ(exception->status, 9u);
    callSlot<void>(*exception.release(), 1); // the deleting destructor
}

TEST(VirtualTablesOfTableExceptions, DifferInTheDestructorsAlone) {
    const BfTable::BfTableException general(6, Kel::String("a"));
    const BfTable::BfTableFull full(9, Kel::String("b"));
    const BfTable::BfNoSysResources resources(2, Kel::String("c"));
    const BfTable::BfNotSupported notSupported(17, Kel::String("d"));
    for (std::size_t slot : {2, 3}) {
        EXPECT_EQ(virtual_slots::entry(general, slot), virtual_slots::entry(full, slot));
        EXPECT_EQ(virtual_slots::entry(general, slot), virtual_slots::entry(resources, slot));
        EXPECT_EQ(virtual_slots::entry(general, slot), virtual_slots::entry(notSupported, slot));
    }
    EXPECT_NE(virtual_slots::entry(general, 1), virtual_slots::entry(full, 1));
    EXPECT_NE(virtual_slots::entry(general, 1), virtual_slots::entry(resources, 1));
    EXPECT_NE(virtual_slots::entry(general, 1), virtual_slots::entry(notSupported, 1));
}

} // namespace
} // namespace sm_test
