// How an entry of the model becomes a member of the hardware action profile.
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"
#include "tests/support/TraceLines.h"

namespace sm_test {
namespace {

using BfTable::BfTableException;
using BfTable::BfTableFull;

using Members = RunningStateMachineTest;
using MembersDeathTest = RunningStateMachineTest;

/// One of the five actions: its spec with port 777, its PD name and what it gives the chip.
struct ActionCase {
    const char* name;
    Action (*spec)(U16 port);
    const char* data;
};

constexpr ActionCase kActions[] = {
    {"fixL2SubintfAlignment", &action<FixL2SubintfAlignmentActionProfileSpec>, ""},
    {"invalidateUcastEgressPort", &action<InvalidateUcastEgressPortActionProfileSpec>, ""},
    {"setLagPort", &action<SetLagPortActionProfileSpec>, ", port=777"},
    {"setPhysicalPort", &action<SetPhysicalPortActionProfileSpec>, ""},
    {"setTunnelInfo", &action<SetTunnelInfoActionProfileSpec>, ""},
};

class MembersOfEachAction : public RunningStateMachineTest,
                            public testing::WithParamInterface<ActionCase> {};

TEST_F(Members, FollowAnEntryThatTheAgentMadeWithoutSwitchingItsNotificationsOn) {
    const LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(RuxMemberId(7), lagPort(5));
    profile->entryIs(entry);
    entry->actionIs(lagPort(6));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), modifyLagPort(1, 6)));
}

TEST_F(Members, ThatReplaceOthersWithoutNotificationsOnAreFollowedToo) {
    haveEntry(7);
    const LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(RuxMemberId(7), lagPort(5));
    profile->entryIs(entry);
    entry->actionIs(lagPort(6));
    EXPECT_THAT(pd.calls(), ElementsAre(modifyLagPort(1, 5), modifyLagPort(1, 6)));
}

TEST_P(MembersOfEachAction, AreAddedInTheInterfacesSessionAndTheirHandleIsStored) {
    pd.handleIs(41);
    addEntry(7, GetParam().spec(777));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(7), anonKey(7), addMember(GetParam().name, GetParam().data)));
    EXPECT_EQ(memberHandle(7), 41u);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 1u);
}

TEST_P(MembersOfEachAction, AreModifiedInTheStateMachinesSessionWhenTheyHaveAHandle) {
    pd.handleIs(41);
    addEntry(7, action<SetPhysicalPortActionProfileSpec>(1));
    journal.clear();
    entry(7)->actionIs(GetParam().spec(777));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(7), modifyMember(GetParam().name, 41, GetParam().data)));
    EXPECT_EQ(memberHandle(7), 41u);
}

TEST_P(MembersOfEachAction, AreDeletedByTheOneOperation) {
    pd.handleIs(41);
    addEntry(7, GetParam().spec(777));
    journal.clear();
    profile->entryDel(RuxMemberId(7));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), delMember(41)));
    EXPECT_EQ(memberHandle(7), 0u);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(FiveActions, MembersOfEachAction, testing::ValuesIn(kActions),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(Members, CarryAllSixteenBitsOfThePort) {
    addEntry(1, lagPort(0xFFFF));
    entry(1)->actionIs(lagPort(0));
    entry(1)->actionIs(lagPort(0x8000));
    EXPECT_THAT(pd.calls(),
                ElementsAre(addLagPort(65535), modifyLagPort(1, 0), modifyLagPort(1, 32768)));
}

TEST_F(Members, ChangeToAnotherActionByAModifyOfTheNewActionOnTheSameHandle) {
    pd.handleIs(90);
    addEntry(4, lagPort(5));
    entry(4)->actionIs(action<SetPhysicalPortActionProfileSpec>(5));
    entry(4)->actionIs(action<SetTunnelInfoActionProfileSpec>());
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), modifyMember("setPhysicalPort", 90),
                                        modifyMember("setTunnelInfo", 90)));
    EXPECT_EQ(memberHandle(4), 90u);
}

TEST_F(Members, AreModifiedByANewSpecWithEqualFieldsAndNotByTheSameSpec) {
    const Action first = lagPort(5);
    addEntry(4, first);
    journal.clear();
    entry(4)->actionIs(first);
    EXPECT_THAT(journal.take(), IsEmpty());
    entry(4)->actionIs(lagPort(5));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(4), modifyLagPort(1, 5)));
}

TEST_F(Members, UseSessionZeroForModifyAndDeleteUntilASessionIsSet) {
    sm->sessionHandleIs(0);
    addEntry(4, lagPort(5));
    entry(4)->actionIs(lagPort(6));
    profile->entryDel(RuxMemberId(4));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), modifyLagPort(1, 6, 0), delMember(1, 0)));
}

TEST_F(Members, AreAddedInTheSessionThatTheInterfaceHasAtThatTime) {
    helper->pdLib()->sessionIdIs(12);
    addEntry(4, lagPort(5));
    EXPECT_THAT(pd.calls(),
                ElementsAre(pdLine("add_member_with_setLagPort", 12, ", pipe=2, port=5")));
}

TEST_F(Members, WithARestoredHandleAreModifiedAndReserveNoKey) {
    memberHandleIs(7, 600);
    addEntry(7, lagPort(5));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(600, 5)));
    EXPECT_EQ(memberHandle(7), 600u);
    EXPECT_TRUE(memberReactor(7));
}

TEST_F(Members, WhoseHandleInTheMapIsZeroAreAdded) {
    memberHandleIs(7, 0);
    pd.handleIs(9);
    addEntry(7, lagPort(5));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(5)));
    EXPECT_EQ(memberHandle(7), 9u);

    memberHandleIs(7, 0);
    entry(7)->actionIs(lagPort(6));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(6)));
    EXPECT_EQ(memberHandle(7), 10u);
}

TEST_F(Members, WithoutAnActionProgramNothingUntilTheyGetOne) {
    addEntry(7, nullptr);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7)));
    EXPECT_EQ(memberHandle(7), 0u);
    EXPECT_TRUE(memberReactor(7));

    entry(7)->actionIs(lagPort(5));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(5)));
    entry(7)->actionIs(nullptr);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7)));
    EXPECT_EQ(memberHandle(7), 1u);
}

TEST_F(Members, OfAnUnknownActionTypeProgramNothing) {
    addEntry(7, actionOfUnknownType());
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7)));
    EXPECT_EQ(memberHandle(7), 0u);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 0u);

    addEntry(8, lagPort(5));
    journal.clear();
    entry(8)->actionIs(actionOfUnknownType());
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(8)));
    EXPECT_EQ(memberHandle(8), 1u);
}

TEST_F(Members, WorkWithoutManagers) {
    sm = nullptr;
    keys = nullptr;
    status = nullptr;
    start();
    addEntry(7, lagPort(5));
    entry(7)->actionIs(lagPort(6));
    profile->entryDel(RuxMemberId(7));
    EXPECT_THAT(journal.take(), ElementsAre(addLagPort(5), modifyLagPort(1, 6), delMember(1)));
}

TEST_F(Members, ThatTheChipRefusesAreNotFollowedAndAddedAnewByTheNextEntry) {
    pd.failNext(pdName("add_member_with_setLagPort").c_str(), 9);
    const auto refused = entryOf(7, lagPort(5));
    try {
        profile->entryIs(refused);
        FAIL();
    } catch (const BfTableFull& e) {
        EXPECT_STREQ(e.what(), "p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort"
                               "() failed: Not enough Space");
        EXPECT_EQ(e.status, 9u);
    }
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(5)));
    EXPECT_EQ(entry(7), refused); // the model has changed all the same
    EXPECT_FALSE(memberReactor(7));
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(memberHandle(7), 0u);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 0u);

    refused->actionIs(lagPort(6)); // nobody follows it
    EXPECT_THAT(journal.take(), IsEmpty());
    addEntry(7, lagPort(7));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(7)));
    EXPECT_TRUE(memberReactor(7));
}

TEST_F(Members, WhoseLaterAddIsRefusedKeepTheirReactorAndAreTriedAgain) {
    addEntry(7, nullptr);
    journal.clear();
    const auto reactor = memberReactor(7);
    pd.failNext(pdName("add_member_with_setLagPort").c_str(), 3);
    EXPECT_THROW(entry(7)->actionIs(lagPort(5)), BfTableException);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(5)));
    EXPECT_EQ(memberReactor(7), reactor);
    EXPECT_EQ(memberHandle(7), 0u);

    entry(7)->actionIs(lagPort(6));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), anonKey(7), addLagPort(6)));
    EXPECT_EQ(memberHandle(7), 1u);
}

TEST_F(Members, WhoseModifyIsRefusedKeepHandleAndReactor) {
    addEntry(7, lagPort(5));
    const auto reactor = memberReactor(7);
    journal.clear();
    const Action refused = lagPort(6);
    pd.failNext(pdName("modify_member_with_setLagPort").c_str(), 18);
    EXPECT_THROW(entry(7)->actionIs(refused), BfTableException);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 6)));
    EXPECT_EQ(memberHandle(7), 1u);
    EXPECT_EQ(memberReactor(7), reactor);
    EXPECT_EQ(entry(7)->action(), refused);

    entry(7)->actionIs(lagPort(8));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 8)));
}

TEST_F(Members, WhoseDeletionIsRefusedKeepTheirHandleAndAreCalledForOnce) {
    addEntry(7, lagPort(5));
    auto reactor = memberReactor(7);
    journal.clear();
    pd.failNext(pdName("del_member").c_str(), 16);
    EXPECT_THROW(profile->entryDel(RuxMemberId(7)), BfTableException);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), delMember(1)));
    EXPECT_EQ(memberHandle(7), 1u);
    EXPECT_FALSE(entry(7));
    EXPECT_FALSE(memberReactor(7));

    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->lagGroupActionProfileSm(), nullptr);
    EXPECT_EQ(reactor->kelReferenceCount(), 1u);
    reactor = nullptr; // its destructor has no owner to work for
    EXPECT_THAT(journal.take(), IsEmpty());

    addEntry(7, lagPort(9)); // the member is still in the chip
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 9)));
}

TEST_F(Members, AreProgrammedAgainWhenTheirReactorIsGivenAnotherEntry) {
    addEntry(7, lagPort(5));
    const auto reactor = memberReactor(7);
    journal.clear();
    const auto other = entryOf(7, lagPort(6));
    reactor->notifierIs(other);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 6)));
    EXPECT_EQ(reactor->actionProfile(), other);
    EXPECT_EQ(reactor->notifier(), other.ptr());
    EXPECT_TRUE(reactor->isRegisteredNotifiee());

    reactor->notifierIs(other); // the same one: nothing
    EXPECT_THAT(journal.take(), IsEmpty());
    other->actionIs(lagPort(8));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 8)));
    entry(7)->actionIs(lagPort(9)); // no longer followed
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Members, OfAReactorThatIsGivenAnObjectOfAnotherClassAreNotFollowed) {
    addEntry(7, lagPort(5));
    const auto reactor = memberReactor(7);
    journal.clear();
    const Kel::PtrInterface::PtrConst group = groupOf(1, 1, 1, kSetLagPort);
    reactor->notifierIs(group);
    EXPECT_FALSE(reactor->actionProfile());
    EXPECT_EQ(reactor->notifier(), nullptr);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
    entry(7)->actionIs(lagPort(6));
    EXPECT_THAT(journal.take(), IsEmpty());

    profile->entryDel(RuxMemberId(7)); // the reactor still knows which member it stands for
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), delMember(1)));
}

TEST_F(Members, OfAMarkedReactorIgnoreChangesAndNewEntries) {
    addEntry(7, lagPort(5));
    const auto reactor = memberReactor(7);
    reactor->kelDoZombieReactors(true);
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_THAT(pd.takeCalls(), ElementsAre(addLagPort(5), delMember(1)));
    journal.clear();

    reactor->hasNotificationActiveIs(true);
    entry(7)->actionIs(lagPort(6));
    reactor->notifierIs(entryOf(7, lagPort(7)));
    reactor->kelDoZombieReactors(true);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Members, AreDeletedWhicheverWayTheMarkOfTheirReactorTurns) {
    addEntry(7, lagPort(5));
    const auto reactor = memberReactor(7);
    reactor->kelDoZombieReactors(true);
    memberHandleIs(7, 33);
    journal.clear();
    reactor->kelDoZombieReactors(false);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), delMember(33)));
    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_TRUE(reactor->hasNotificationActive());
}

TEST_F(Members, IgnoreEveryAttributeButTheAction) {
    addEntry(7, lagPort(5));
    journal.clear();
    for (Kel::AttributeId id : {130u, 138u, 258u, 259u, 261u, 0u}) {
        memberReactor(7)->onAttribute(id, nullptr);
    }
    EXPECT_THAT(journal.take(), IsEmpty());
    memberReactor(7)->onAttribute(260, nullptr);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(7), modifyLagPort(1, 5)));
}

TEST_F(Members, RememberThatTheyAreInitialized) {
    addEntry(7, lagPort(5));
    EXPECT_FALSE(memberReactor(7)->initialized());
    memberReactor(7)->initializedIs(true);
    EXPECT_TRUE(memberReactor(7)->initialized());
}

TEST_F(Members, TraceTheirHandlersWithTheirPlaceInTheSource) {
    const test_support::TraceLines trace("BfLagGroup", 9);
    addEntry(7, lagPort(5));
    profile->entryDel(RuxMemberId(7));
    EXPECT_THAT(trace.texts(),
                ElementsAre("9 bf_velmor_switch/kel/BfLagGroup/BfLagGroup handleActionProfileAdd: "
                            "void BfLagGroup::LagGroupActionProfileSm::KelActionProfile::"
                            "handleActionProfileAdd()",
                            "9 bf_velmor_switch/kel/BfLagGroup/BfLagGroup handleActionProfileDel: "
                            "void BfLagGroup::LagGroupActionProfileSm::KelActionProfile::"
                            "handleActionProfileDel()"));
    EXPECT_EQ(trace.lines().at(0).line, 339u);
    EXPECT_EQ(trace.lines().at(1).line, 510u);
}

TEST_F(MembersDeathTest, ThatNeverGotAHandleMayNotBeDeleted) {
    addEntry(7, nullptr);
    EXPECT_EXIT(
        profile->entryDel(RuxMemberId(7)), testing::KilledBySignal(SIGABRT),
        "bf_velmor_switch/kel/BfLagGroup/BfLagGroup:514: void BfLagGroup::"
        "LagGroupActionProfileSm::KelActionProfile::handleActionProfileDel\\(\\): "
        "Assertion `lagGroupActionProfileSm\\(\\)->helper\\(\\)->sdkHandles\\(\\)->member\\( "
        "actionProfile\\(\\)->memberId\\(\\) \\)' failed\\.");
}

TEST_F(MembersDeathTest, HaveTheStatusManagerToldBeforeTheyMeetThatAssertion) {
    addEntry(7, nullptr);
    EXPECT_EXIT(
        {
            journal.echoIs(true);
            profile->entryDel(RuxMemberId(7));
        },
        testing::KilledBySignal(SIGABRT),
        "^initAdtStatus\\(7\\)\n[^\n]+handleActionProfileDel\\(\\): Assertion ");
}

} // namespace
} // namespace sm_test
