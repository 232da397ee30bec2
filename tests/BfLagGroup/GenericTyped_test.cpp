#include "tests/BfLagGroup/GenericFixture.h"

using namespace generic_test;

namespace {

/// The message of the exception of just this class that the action throws.
template <class Exception, class Do>
std::string error(Do&& action) {
    try {
        action();
    } catch (const Exception& e) {
        return e.what();
    }
    return "no such error";
}

using TypedAccess = Generic;
using Kel::attribute;
using Kel::attributeCall;
using Kel::attributeCount;
using Kel::attributeDel;
using Kel::attributeHas;
using Kel::attributeIs;
using Kel::TypeException;
using Kel::UnhashableException;
using Kel::UnknownAttributeException;
using Kel::UnsupportedOperationException;

TEST_F(TypedAccess, ReadsAndWritesScalarsOfObjectsGivenEitherWay) {
    attributeIs(instances.match, "priority", U32{10});
    EXPECT_EQ(attribute<U32>(*instances.match, "priority"), 10u);
    attributeIs(*instances.member, "active", false);
    EXPECT_FALSE(attribute<bool>(instances.member, "active"));
    EXPECT_EQ(attribute<Kel::Name>(instances.member, "fullName"), "lagGroup/group[10]/member[3]");
    EXPECT_EQ(attribute<RuxGroupId>(instances.group, "groupId"), RuxGroupId(10));
}

TEST_F(TypedAccess, ReadsAndWritesThroughAPointerToTheBase) {
    const LagGroupBaseActionProfileSpec::Ptr action = instances.actions[3];
    attributeIs(action, "egrL2AintfPort", U16{65535});
    EXPECT_EQ(attribute<U16>(Kel::PtrInterface::Ptr(action), "egrL2AintfPort"), 65535u);
    EXPECT_EQ(attribute<ActionType>(action, "actionType"), ActionType::setLagPortActionProfileSpec);
}

TEST_F(TypedAccess, ReadsAndWritesPlainValues) {
    LagGroupMemberOrGroupOrNone value;
    attributeIs(value, "id", U32{7});
    attributeIs(value, "member", true);
    EXPECT_EQ(value, LagGroupMemberOrGroupOrNone(7, true));
    LagGroupTableEntry entry;
    attributeIs(entry, "match", LagGroupMatchSpec::PtrConst(instances.match));
    attributeIs(entry, "memberOrGroup", value);
    EXPECT_EQ(attribute<LagGroupMemberOrGroupOrNone>(entry, "memberOrGroup"), value);
    EXPECT_EQ(attribute<LagGroupMatchSpec::PtrConst>(entry, "match"), instances.match);
}

TEST_F(TypedAccess, MakesFindsCountsAndDeletesElements) {
    attributeIs(instances.profile, "group", RuxGroupId(11), U32{4}, U32{1},
                ActionType::setLagPortActionProfileSpec);
    EXPECT_EQ(attributeCount(instances.profile, "group"), 2u);
    EXPECT_TRUE(attributeHas(instances.profile, "group", RuxGroupId(11)));
    EXPECT_EQ(attribute<LagGroupGroup::Ptr>(instances.profile, "group", RuxGroupId(10)),
              instances.group);
    attributeDel(instances.profile, "group", RuxGroupId(11));
    attributeDel(instances.profile, "group", RuxGroupId(11));
    EXPECT_FALSE(attributeHas(instances.profile, "group", RuxGroupId(11)));
    EXPECT_EQ(attributeCount(instances.profile, "group"), 1u);
}

TEST_F(TypedAccess, MakesAndClearsAnInstance) {
    attributeIs(instances.table, "defaultMatchSpec");
    const auto made = attribute<LagGroupMatchSpec::Ptr>(instances.table, "defaultMatchSpec");
    EXPECT_EQ(made, instances.table->defaultMatchSpec());
    EXPECT_NE(made, nullptr);
    attributeDel(instances.table, "defaultMatchSpec");
    EXPECT_EQ(instances.table->defaultMatchSpec(), nullptr);
}

TEST_F(TypedAccess, CallsAFunction) {
    const auto entry =
        attributeCall<LagGroupTableEntry>(instances.table, "entryByHandle", RuxSdkEntryHandle(44));
    EXPECT_TRUE(!entry);
    EXPECT_EQ(instances.pd.count("p4_pd_velmor_switch_lagGroup_get_entry"), 1u);
}

TEST_F(TypedAccess, SetsTheSessionHandleOfTheStateMachine) {
    attributeIs(instances.sm, "sessionHandle", U32{77});
    EXPECT_EQ(instances.sm->sessionHandle(), 77u);
}

TEST_F(TypedAccess, RefusesAValueOfAnotherTypeAndStoresNothing) {
    EXPECT_EQ(error<TypeException>([&] { attributeIs(instances.match, "priority", U16{1}); }),
              "BfLagGroup::LagGroupMatchSpec.priority wants a U32, not a U16");
    EXPECT_EQ(error<TypeException>([&] { attributeIs(instances.match, "priority", true); }),
              "BfLagGroup::LagGroupMatchSpec.priority wants a U32, not a bool");
    EXPECT_EQ(instances.match->priority(), 0u);
    EXPECT_EQ(error<TypeException>([&] { attributeIs(instances.member, "active", U32{0}); }),
              "BfLagGroup::LagGroupMember.active wants a bool, not a U32");
    EXPECT_TRUE(instances.member->active());
}

TEST_F(TypedAccess, NamesTheClassOfTheObjectInItsErrors) {
    EXPECT_EQ(
        error<TypeException>([&] { attributeIs(instances.actions[3], "egrL2AintfPort", U32{1}); }),
        "BfLagGroup::SetLagPortActionProfileSpec.egrL2AintfPort wants a U16, not a U32");
}

TEST_F(TypedAccess, RefusesAPointerToAnotherClassOrConstness) {
    EXPECT_EQ(error<TypeException>([&] {
                  attributeIs(instances.entry, "action", SetLagPortActionProfileSpec::PtrConst());
              }),
              "BfLagGroup::LagGroupActionProfileEntry.action wants a "
              "Kel::Ptr<BfLagGroup::LagGroupBaseActionProfileSpec const>, not a "
              "Kel::Ptr<BfLagGroup::SetLagPortActionProfileSpec const>");
    EXPECT_EQ(error<TypeException>([&] {
                  attributeIs(instances.entry, "action", LagGroupBaseActionProfileSpec::Ptr());
              }),
              "BfLagGroup::LagGroupActionProfileEntry.action wants a "
              "Kel::Ptr<BfLagGroup::LagGroupBaseActionProfileSpec const>, not a "
              "Kel::Ptr<BfLagGroup::LagGroupBaseActionProfileSpec>");
}

TEST_F(TypedAccess, RefusesAResultOfAnotherType) {
    EXPECT_EQ(error<TypeException>([&] { attribute<U16>(instances.match, "priority"); }),
              "BfLagGroup::LagGroupMatchSpec.priority wants a U32, not a U16");
    EXPECT_EQ(error<TypeException>([&] {
                  attribute<LagGroupMember::Ptr>(instances.profile, "group", RuxGroupId(10));
              }),
              "BfLagGroup::LagGroupActionProfile.group wants a "
              "Kel::Ptr<BfLagGroup::LagGroupGroup>, not a Kel::Ptr<BfLagGroup::LagGroupMember>");
    EXPECT_EQ(error<TypeException>([&] {
                  attributeCall<bool>(instances.table, "entryByHandle", RuxSdkEntryHandle(1));
              }),
              "BfLagGroup::LagGroupTable.entryByHandle wants a BfLagGroup::LagGroupTableEntry, "
              "not a bool");
    EXPECT_THAT(instances.pd.calls(), IsEmpty()); // refused before the call
}

TEST_F(TypedAccess, RefusesAKeyOfAnotherType) {
    const std::string wanted =
        "BfLagGroup::LagGroupActionProfile.group wants a RuxTable::RuxGroupId, not a ";
    EXPECT_EQ(
        error<TypeException>([&] { attributeHas(instances.profile, "group", RuxMemberId(10)); }),
        wanted + "RuxTable::RuxMemberId");
    EXPECT_EQ(error<TypeException>([&] { attributeDel(instances.profile, "group", U32{10}); }),
              wanted + "U32");
    EXPECT_EQ(error<TypeException>(
                  [&] { attribute<LagGroupGroup::Ptr>(instances.profile, "group", U32{10}); }),
              wanted + "U32");
    EXPECT_EQ(error<TypeException>([&] {
                  attributeCall<LagGroupTableEntry>(instances.table, "entryByHandle", U32{1});
              }),
              "BfLagGroup::LagGroupTable.entryByHandle wants a RuxTable::RuxSdkEntryHandle, not a "
              "U32");
    EXPECT_EQ(instances.profile->group().size(), 1u);
}

TEST_F(TypedAccess, RefusesAKeyThatCannotBeHashed) {
    const std::string text = "BfLagGroup::LagGroupTableHandles.member: a "
                             "BfLagGroup::LagGroupMemberOrGroupOrNone cannot be a key";
    const auto handles = instances.helper->sdkHandles();
    const auto& key = instances.memberOrGroup;
    EXPECT_EQ(error<UnhashableException>([&] { attributeHas(handles, "member", key); }), text);
    EXPECT_EQ(error<UnhashableException>([&] { attributeDel(handles, "member", key); }), text);
    EXPECT_EQ(
        error<UnhashableException>([&] { attribute<RuxSdkMemberHandle>(handles, "member", key); }),
        text);
}

TEST_F(TypedAccess, RefusesTheWrongNumberOfArguments) {
    EXPECT_EQ(error<TypeException>([&] { attributeIs(instances.match, "priority"); }),
              "BfLagGroup::LagGroupMatchSpec.priority takes 1 argument to be written, not 0");
    EXPECT_EQ(error<TypeException>([&] { attributeIs(instances.profile, "group", RuxGroupId(1)); }),
              "BfLagGroup::LagGroupActionProfile.group takes 4 arguments to be written, not 1");
    EXPECT_EQ(error<TypeException>([&] { attribute<U32>(instances.match, "priority", U32{1}); }),
              "BfLagGroup::LagGroupMatchSpec.priority takes 0 arguments to be read, not 1");
    EXPECT_EQ(
        error<TypeException>([&] { attribute<LagGroupGroup::Ptr>(instances.profile, "group"); }),
        "BfLagGroup::LagGroupActionProfile.group takes 1 argument to be read, not 0");
}

TEST_F(TypedAccess, RefusesWhatTheAttributeDoesNotSupport) {
    EXPECT_EQ(error<UnsupportedOperationException>(
                  [&] { attributeIs(instances.group, "groupSize", U32{8}); }),
              "BfLagGroup::LagGroupGroup.groupSize cannot be written");
    EXPECT_EQ(
        error<UnsupportedOperationException>([&] { attributeDel(instances.member, "active"); }),
        "BfLagGroup::LagGroupMember.active cannot be deleted");
    EXPECT_EQ(
        error<UnsupportedOperationException>([&] { attributeCount(instances.member, "active"); }),
        "BfLagGroup::LagGroupMember.active cannot be counted");
    EXPECT_EQ(error<UnsupportedOperationException>(
                  [&] { attributeHas(instances.member, "active", U32{1}); }),
              "BfLagGroup::LagGroupMember.active cannot be searched");
    EXPECT_EQ(error<UnsupportedOperationException>(
                  [&] { attributeCall<bool>(instances.member, "active"); }),
              "BfLagGroup::LagGroupMember.active cannot be called");
    EXPECT_EQ(error<UnsupportedOperationException>(
                  [&] { attribute<LagGroupTableEntry>(instances.table, "entryByHandle"); }),
              "BfLagGroup::LagGroupTable.entryByHandle cannot be read");
    EXPECT_EQ(instances.group->groupSize(), 4u);
}

TEST_F(TypedAccess, RefusesToSetWhatTheStateMachineIsMadeWith) {
    EXPECT_EQ(error<UnsupportedOperationException>(
                  [&] { attributeIs(instances.sm, "helper", instances.helper); }),
              "BfLagGroup::LagGroupActionProfileSm.helper cannot be written");
    for (const char* name : {"lagGroupActionProfile", "glimtKeyManager", "statusManager"}) {
        EXPECT_THROW(attributeIs(instances.sm, name, instances.profile),
                     UnsupportedOperationException)
            << name;
    }
}

TEST_F(TypedAccess, RefusesAnUnknownAttribute) {
    EXPECT_EQ(
        error<UnknownAttributeException>([&] { attribute<U32>(instances.match, "prioritee"); }),
        "BfLagGroup::LagGroupMatchSpec has no attribute 'prioritee'");
    EXPECT_EQ(error<UnknownAttributeException>(
                  [&] { attributeIs(instances.memberOrGroup, "none", true); }),
              "BfLagGroup::LagGroupMemberOrGroupOrNone has no attribute 'none'");
    EXPECT_THROW(attributeDel(instances.group, ""), UnknownAttributeException);
    EXPECT_THROW(attributeCount(instances.group, "members"), UnknownAttributeException);
    EXPECT_THROW(attributeHas(instances.group, "members", U32{1}), UnknownAttributeException);
    EXPECT_THROW(attributeCall<bool>(instances.table, "entryByKey"), UnknownAttributeException);
}

TEST_F(TypedAccess, RefusesANullObject) {
    EXPECT_EQ(error<Kel::MutatorArgNullPointerException>(
                  [] { attribute<U32>(LagGroupMatchSpec::Ptr(), "priority"); }),
              "attribute of a null pointer");
}

TEST_F(TypedAccess, PassesOnWhatAMutatorThrows) {
    EXPECT_EQ(error<Kel::MutatorReinstantiatingException>([&] {
                  attributeIs(instances.profile, "group", RuxGroupId(10), U32{5}, U32{1},
                              ActionType::setLagPortActionProfileSpec);
              }),
              "BfLagGroup::LagGroupGroup 'lagGroup/group[10]': cannot change groupSize from 4 to "
              "5");
    EXPECT_EQ(error<Kel::MutatorArgNullPointerException>([&] {
                  attributeIs(instances.profile, "entry", LagGroupActionProfileEntry::Ptr());
              }),
              "BfLagGroup::LagGroupActionProfile: null pointer given to the mutator of entry");
}

TEST_F(TypedAccess, ConvertsAGenericPointerToItsClassAndToNoOther) {
    const Kel::PtrInterface::Ptr generic = instances.member;
    EXPECT_EQ(Kel::GenericIfImpl::convertPointer<LagGroupMember>(generic), instances.member);
    EXPECT_EQ(Kel::GenericIfImpl::convertPointer<Kel::Entity>(generic), instances.member);
    EXPECT_EQ(Kel::GenericIfImpl::convertPointer<LagGroupMember>(nullptr), nullptr);
    EXPECT_EQ(
        error<TypeException>([&] { Kel::GenericIfImpl::convertPointer<LagGroupGroup>(generic); }),
        "a BfLagGroup::LagGroupMember is not a BfLagGroup::LagGroupGroup");
}

} // namespace
