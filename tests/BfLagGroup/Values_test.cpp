#include <gtest/gtest.h>

#include <sstream>

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "BfLagGroup/LagGroupTableValues.h"
#include "tests/support/VirtualSlots.h"

using namespace BfLagGroup;

namespace {

template <class Value>
std::string streamed(const Value& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

LagGroupMatchSpec::Ptr matchSpec(U32 value, U32 mask, U32 priority) {
    auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", value);
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", mask);
    Kel::attributeIs(match, "priority", priority);
    return match;
}

// Member or group or none

TEST(MemberOrGroupOrNone, IsIdZeroAndNoMemberByDefault) {
    const LagGroupMemberOrGroupOrNone none;
    EXPECT_EQ(none.id(), 0u);
    EXPECT_FALSE(none.member());
}

TEST(MemberOrGroupOrNone, KeepsWhatItIsMadeFromAndWhatItIsGiven) {
    LagGroupMemberOrGroupOrNone value(5, true);
    EXPECT_EQ(value.id(), 5u);
    EXPECT_TRUE(value.member());
    value.idIs(4294967295u);
    value.memberIs(false);
    EXPECT_EQ(value.id(), 4294967295u);
    EXPECT_FALSE(value.member());
}

TEST(MemberOrGroupOrNone, IsEqualOnlyWhenIdAndMemberAre) {
    const LagGroupMemberOrGroupOrNone member5(5, true);
    EXPECT_EQ(member5, LagGroupMemberOrGroupOrNone(5, true));
    EXPECT_NE(member5, LagGroupMemberOrGroupOrNone(5, false));
    EXPECT_NE(member5, LagGroupMemberOrGroupOrNone(6, true));
    EXPECT_NE(member5, LagGroupMemberOrGroupOrNone());
}

TEST(MemberOrGroupOrNone, PrintsItsTypeAndItsTwoAttributes) {
    EXPECT_EQ(valueToStrep(LagGroupMemberOrGroupOrNone(5, true)),
              "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': 5, 'member': True})");
    EXPECT_EQ(valueToStrep(LagGroupMemberOrGroupOrNone()),
              "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': 0, 'member': False})");
}

TEST(MemberOrGroupOrNone, PrintsTheLargestIdAsDigitsAndNotAsANegativeNumber) {
    EXPECT_EQ(valueToStrep(LagGroupMemberOrGroupOrNone(4294967295u, false)),
              "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': 4294967295, 'member': "
              "False})");
}

TEST(MemberOrGroupOrNone, StreamsExactlyItsValueStringAndReturnsTheStream) {
    const LagGroupMemberOrGroupOrNone value(17, false);
    std::ostringstream out;
    EXPECT_EQ(&(out << value), &out);
    EXPECT_EQ(out.str(),
              "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': 17, 'member': False})");
}

// Table entry

TEST(TableEntry, HasNoMatchAndSelectsNothingByDefault) {
    const LagGroupTableEntry entry;
    EXPECT_EQ(entry.match(), nullptr);
    EXPECT_EQ(entry.memberOrGroup(), LagGroupMemberOrGroupOrNone());
}

TEST(TableEntry, PrintsADefaultEntryWithNoneAndTheNestedDefault) {
    const char* const text =
        "Value('BfLagGroup::LagGroupTableEntry', ** {'match': None, 'memberOrGroup': "
        "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': 0, 'member': False})})";
    EXPECT_EQ(valueToStrep(LagGroupTableEntry()), text);
    EXPECT_EQ(streamed(LagGroupTableEntry()), text);
}

TEST(TableEntry, PrintsTheMatchAsANumberedPointerThatStaysTheSame) {
    const auto match = matchSpec(1, 2, 3);
    const LagGroupTableEntry entry(match, LagGroupMemberOrGroupOrNone(4294967295u, true));

    const Kel::String pointer = Kel::valueToStrepOfRawPtr(match.ptr());
    unsigned number = 0;
    ASSERT_EQ(std::sscanf(pointer.charPtr(), "Ptr('BfLagGroup::LagGroupMatchSpec', %u)", &number),
              1);
    EXPECT_GT(number, 0u);
    EXPECT_EQ(pointer, Kel::format("Ptr('BfLagGroup::LagGroupMatchSpec', %u)", number));

    const Kel::String text = "Value('BfLagGroup::LagGroupTableEntry', ** {'match': " + pointer +
                             ", 'memberOrGroup': Value('BfLagGroup::LagGroupMemberOrGroupOrNone', "
                             "** {'id': 4294967295, 'member': True})})";
    EXPECT_EQ(valueToStrep(entry), text);
    EXPECT_EQ(streamed(entry), std::string(text.charPtr()));
}

TEST(TableEntry, PrintsDifferentMatchSpecsUnderDifferentNumbers) {
    const auto one = matchSpec(1, 2, 3);
    const auto other = matchSpec(1, 2, 3);
    EXPECT_NE(Kel::valueToStrepOfRawPtr(one.ptr()), Kel::valueToStrepOfRawPtr(other.ptr()));
}

TEST(TableEntry, ComparesMatchSpecsByIdentityAndNeverByTheirFields) {
    const auto match = matchSpec(1, 2, 3);
    const auto sameFields = matchSpec(1, 2, 3);
    const LagGroupMemberOrGroupOrNone group(10, false);
    EXPECT_EQ(LagGroupTableEntry(match, group), LagGroupTableEntry(match, group));
    EXPECT_NE(LagGroupTableEntry(match, group), LagGroupTableEntry(sameFields, group));
    EXPECT_NE(LagGroupTableEntry(match, group), LagGroupTableEntry(nullptr, group));
}

TEST(TableEntry, WithTheSameMatchIsEqualOnlyWhenItSelectsTheSame) {
    const auto match = matchSpec(1, 2, 3);
    EXPECT_NE(LagGroupTableEntry(match, {5, true}), LagGroupTableEntry(match, {5, false}));
    EXPECT_NE(LagGroupTableEntry(match, {5, true}), LagGroupTableEntry(match, {6, true}));
}

TEST(TableEntry, IsEmptyOnlyWithNullMatchIdZeroAndNoMember) {
    EXPECT_TRUE(!LagGroupTableEntry());
    EXPECT_TRUE(!LagGroupTableEntry(nullptr, {0, false}));
    EXPECT_FALSE(!LagGroupTableEntry(nullptr, {1, false}));
    EXPECT_FALSE(!LagGroupTableEntry(nullptr, {0, true}));
}

TEST(TableEntry, WithAMatchIsNeverEmptyWhateverItSelects) {
    const auto match = matchSpec(0, 0, 0);
    EXPECT_FALSE(!LagGroupTableEntry(match, {0, false}));
    EXPECT_FALSE(!LagGroupTableEntry(match, {7, true}));
}

TEST(TableEntry, HoldsOneReferencePerCopyOnItsMatch) {
    const auto match = matchSpec(1, 2, 3);
    ASSERT_EQ(match->kelReferenceCount(), 1u);
    {
        LagGroupTableEntry entry(match, {5, true});
        EXPECT_EQ(match->kelReferenceCount(), 2u);
        const LagGroupTableEntry copy = entry;
        EXPECT_EQ(match->kelReferenceCount(), 3u);
        EXPECT_EQ(copy, entry);
        entry.matchIs(nullptr);
        EXPECT_EQ(match->kelReferenceCount(), 2u);
    }
    EXPECT_EQ(match->kelReferenceCount(), 1u);
}

TEST(TableEntry, KeepsWhatItIsGiven) {
    const auto match = matchSpec(1, 2, 3);
    LagGroupTableEntry entry;
    entry.matchIs(match);
    entry.memberOrGroupIs({9, true});
    EXPECT_EQ(entry.match(), match);
    EXPECT_EQ(entry.memberOrGroup(), LagGroupMemberOrGroupOrNone(9, true));
}

// Match spec

TEST(MatchSpec, HasZeroFieldsAndSilentNotificationsWhenConstructed) {
    const LagGroupMatchSpec::Ptr match = new LagGroupMatchSpec;
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolved(), 0u);
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolvedMask(), 0u);
    EXPECT_EQ(match->priority(), 0u);
    EXPECT_FALSE(match->hasNotificationActive());
}

TEST(MatchSpec, FromTheFactoryHasZeroFieldsAndItsNotificationsOn) {
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolved(), 0u);
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolvedMask(), 0u);
    EXPECT_EQ(match->priority(), 0u);
    EXPECT_TRUE(match->hasNotificationActive());
    EXPECT_EQ(match->kelReferenceCount(), 1u);
    EXPECT_FALSE(match->kelMarkedForDeletion());
}

TEST(MatchSpec, IsCountedInTheRecordOfItsClass) {
    const auto& record = LagGroupMatchSpec::kelAllocTrackTypeInfo_;
    const auto live = record.live();
    const auto total = record.total();
    auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    EXPECT_EQ(record.live(), live + 1);
    EXPECT_EQ(record.total(), total + 1);
    EXPECT_EQ(record.type(), &LagGroupMatchSpec::fwkType_);
    EXPECT_EQ(record.objectSize(), sizeof(LagGroupMatchSpec));
    match = nullptr;
    EXPECT_EQ(record.live(), live);
    EXPECT_EQ(record.total(), total + 1);
}

TEST(MatchSpec, OfEachFactoryCallIsAnotherObject) {
    EXPECT_NE(LagGroupMatchSpec::LagGroupMatchSpecIs(), LagGroupMatchSpec::LagGroupMatchSpecIs());
}

TEST(MatchSpec, HoldsTheFullRangeOfItsFields) {
    const auto match = matchSpec(4294967295u, 2147483648u, 4294967294u);
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolved(), 4294967295u);
    EXPECT_EQ(match->egrMdEgrL2AintfUnresolvedMask(), 2147483648u);
    EXPECT_EQ(match->priority(), 4294967294u);
}

TEST(MatchSpec, AnnouncesNothingAndSoHasNoNotifieeList) {
    EXPECT_EQ(LagGroupMatchSpec::LagGroupMatchSpecIs()->notifieeList(), nullptr);
}

TEST(MatchSpec, HasItsVirtualOperationsInTheFixedSlots) {
    using virtual_slots::callSlot;
    using virtual_slots::slotOf;
    EXPECT_EQ(slotOf(&LagGroupMatchSpec::notifieeList), 0u);
    EXPECT_EQ(slotOf(&LagGroupMatchSpec::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&LagGroupMatchSpec::zeroReferencesIs), 2u);
    EXPECT_EQ(slotOf(&LagGroupMatchSpec::fwkType), 3u);

    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    EXPECT_EQ(callSlot<Kel::NotifieeList*>(*match, 0), nullptr);
    callSlot<void>(*match, 1, false);
    EXPECT_FALSE(match->hasNotificationActive());
    callSlot<void>(*match, 2, false);
    EXPECT_EQ(match->kelReferenceCount(), 1u);
    EXPECT_EQ(callSlot<const Kel::Type*>(*match, 3), &LagGroupMatchSpec::fwkType_);
}

TEST(MatchSpec, HasItsDestructorInTheSlotsBehindTheType) {
    const auto live = LagGroupMatchSpec::kelAllocTrackTypeInfo_.live();
    auto* const match = new LagGroupMatchSpec;
    virtual_slots::callSlot<void>(*match, 5); // the deleting destructor stands behind the plain one
    EXPECT_EQ(LagGroupMatchSpec::kelAllocTrackTypeInfo_.live(), live);
}

TEST(MatchSpec, OverridesNothingButTheType) {
    using virtual_slots::entry;
    struct Plain : Kel::PtrInterface {};
    const Plain plain;
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    for (const std::size_t inherited : {0, 1, 2}) {
        EXPECT_EQ(entry(*match, inherited), entry(plain, inherited)) << "slot " << inherited;
    }
    EXPECT_NE(entry(*match, 3), entry(plain, 3));
}

TEST(MatchSpec, DerivesFromTheBaseOfAllMatchKeys) {
    EXPECT_EQ(LagGroupMatchSpec::fwkType_.base, &RuxTable::MatchSpecBase::fwkType_);
    EXPECT_EQ(RuxTable::MatchSpecBase::fwkType_.base, &Kel::PtrInterface::fwkType_);
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    EXPECT_TRUE(match->fwkType()->isA(RuxTable::MatchSpecBase::fwkType_));
    EXPECT_FALSE(match->fwkType()->isA(Kel::Entity::fwkType_));
}

} // namespace
