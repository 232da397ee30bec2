// The state machine through the generic attribute interface, as an agent reaches it.
#include "tests/BfLagGroup/StateMachineFixture.h"

namespace sm_test {
namespace {

using Kel::Operation;
using StateMachineAttributes = RunningStateMachineTest;

int perform(Sm& sm, Kel::AttributeId id, Operation operation, void* result = nullptr,
            const void* argument = nullptr) {
    const Kel::Attribute* known = Sm::fwkType_.attribute(id);
    const Kel::Attribute unknown{.name = "unknown", .id = id, .owner = &Sm::fwkType_};
    const void* const arguments[] = {argument, nullptr};
    return Sm::fwkType_.genericIf(static_cast<Kel::PtrInterface*>(&sm), result,
                                  known ? known : &unknown, operation, arguments);
}

TEST(StateMachineType, NamesItsSevenAttributes) {
    std::vector<std::pair<std::string, Kel::AttributeId>> names;
    for (const Kel::Attribute& attribute : Sm::fwkType_.attributes) {
        names.emplace_back(attribute.name, attribute.id);
        EXPECT_EQ(attribute.owner, &Sm::fwkType_);
    }
    EXPECT_THAT(names,
                ElementsAre(std::pair("lagGroupActionProfile", 130u), std::pair("helper", 131u),
                            std::pair("glimtKeyManager", 132u), std::pair("statusManager", 133u),
                            std::pair("sessionHandle", 134u), std::pair("actionProfile", 135u),
                            std::pair("group", 137u)));
    EXPECT_STREQ(Sm::fwkType_.name, "BfLagGroup::LagGroupActionProfileSm");
    EXPECT_EQ(Sm::fwkType_.base, &Kel::PtrInterface::fwkType_);
}

TEST_F(StateMachineAttributes, LetTheAgentSetTheSession) {
    Kel::attributeIs(sm, "sessionHandle", U32{4711});
    EXPECT_EQ(sm->sessionHandle(), 4711u);
    EXPECT_EQ(Kel::attribute<U32>(sm, "sessionHandle"), 4711u);
    addEntry(1, lagPort(5));
    profile->entryDel(RuxMemberId(1));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), delMember(1, 4711)));
}

TEST_F(StateMachineAttributes, ReadWhatItWasBuiltFrom) {
    EXPECT_EQ(Kel::attribute<LagGroupActionProfile::Ptr>(sm, "lagGroupActionProfile"), profile);
    EXPECT_EQ(Kel::attribute<LagGroupTableHelper::Ptr>(sm, "helper"), helper);
    EXPECT_EQ(Kel::attribute<Sm::GlimtKeyManager::Ptr>(sm, "glimtKeyManager"), keys);
    EXPECT_EQ(Kel::attribute<Sm::StatusManager::Ptr>(sm, "statusManager"), status);
}

TEST_F(StateMachineAttributes, RefuseWritesOfAllScalarsButTheSession) {
    const U32 session = 6;
    for (Kel::AttributeId id : {130u, 131u, 132u, 133u}) {
        EXPECT_EQ(perform(*sm, id, Operation::write, nullptr, &session), Kel::kGenericUnsupported)
            << id;
        EXPECT_EQ(perform(*sm, id, Operation::remove), Kel::kGenericUnsupported) << id;
    }
    EXPECT_EQ(perform(*sm, 134, Operation::write, nullptr, &session), Kel::kGenericDone);
    EXPECT_EQ(sm->sessionHandle(), 6u);
    EXPECT_THROW(Kel::attributeIs(sm, "helper", helper), Kel::UnsupportedOperationException);
}

TEST_F(StateMachineAttributes, EndAtOneHundredThirtySevenAndLackOneHundredThirtySix) {
    U32 result = 0;
    for (Kel::AttributeId id : {129u, 136u, 138u, 258u, 2u, 0u}) {
        EXPECT_EQ(perform(*sm, id, Operation::read, &result), Kel::kGenericUnknown) << id;
        EXPECT_EQ(perform(*sm, id, Operation::write, nullptr, &result), Kel::kGenericUnknown) << id;
    }
    EXPECT_THROW(Kel::attribute<U32>(sm, "initialized"), Kel::UnknownAttributeException);
}

TEST_F(StateMachineAttributes, LookReactorsUpInTheCollections) {
    haveEntry(1);
    haveEntry(2);
    haveGroup(10);
    EXPECT_EQ(Kel::attribute<Kel::Ptr<Sm::KelActionProfile>>(sm, "actionProfile", RuxMemberId(1)),
              memberReactor(1));
    EXPECT_FALSE(
        Kel::attribute<Kel::Ptr<Sm::KelActionProfile>>(sm, "actionProfile", RuxMemberId(9)));
    EXPECT_EQ(Kel::attribute<Kel::Ptr<Sm::KelGroup>>(sm, "group", RuxGroupId(10)),
              groupReactor(10));
    EXPECT_EQ(Kel::attributeCount(sm, "actionProfile"), 2u);
    EXPECT_EQ(Kel::attributeCount(sm, "group"), 1u);
    EXPECT_TRUE(Kel::attributeHas(sm, "group", RuxGroupId(10)));
    EXPECT_FALSE(Kel::attributeHas(sm, "group", RuxGroupId(11)));
    EXPECT_THAT(journal.take(), IsEmpty());
}

} // namespace
} // namespace sm_test
