// The state machine's frame: which reactors it makes, re-targets and lets go, and when.
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"

namespace sm_test {
namespace {

using BfTable::BfTableException;
using testing::KilledBySignal;

/// The state machine is not started: the model can be filled before.
using StateMachineStart = StateMachineTest;
using StateMachineStartDeathTest = StateMachineTest;
using StateMachine = RunningStateMachineTest;

TEST_F(StateMachineStart, OverAnEmptyModelTouchesNothing) {
    start();
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_TRUE(sm->hasNotificationActive());
    EXPECT_EQ(sm->lagGroupActionProfile(), profile);
    EXPECT_EQ(sm->helper(), helper);
    EXPECT_EQ(sm->glimtKeyManager(), keys);
    EXPECT_EQ(sm->statusManager(), status);
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(sm->group().size(), 0u);
    EXPECT_FALSE(sm->kelMarkedForDeletion());
    EXPECT_EQ(sm->kelFwkActivity(), &Kel::Activity::notification());
}

TEST_F(StateMachineStart, SetsNoSession) {
    sm = Sm::LagGroupActionProfileSmIs(profile, helper, nullptr, nullptr);
    EXPECT_EQ(sm->sessionHandle(), 0u);
    sm->sessionHandleIs(9);
    EXPECT_EQ(sm->sessionHandle(), 9u);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachineStart, LeavesNotificationsOffWhenConstructedPlainly) {
    sm = new Sm(profile, helper, keys, status);
    EXPECT_FALSE(sm->hasNotificationActive());
    EXPECT_TRUE(topReactorOf(*profile)->hasNotificationActive());
}

TEST_F(StateMachineStart, WithoutAModelHasNoTopReactor) {
    profile = nullptr;
    start();
    EXPECT_FALSE(sm->lagGroupActionProfile());
    EXPECT_EQ(live.growth()["KelLagGroupActionProfile"], 0);
    EXPECT_FALSE(sm->lagGroupActionProfileDel());
    sm->actionProfileIs(entryOf(4, lagPort(5))); // works alone all the same
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(4), anonKey(4), addLagPort(5)));
}

TEST_F(StateMachineStart, ProgramsTheMembersBeforeTheGroups) {
    addEntry(1, lagPort(101));
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    start();
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), anonKey(1), addLagPort(101), anonKey(10), groupStatus(10),
                            createGroup(8, 0), groupStatus(10), joinGroup(2, 1, 0)));
    ASSERT_TRUE(memberReactor(1));
    EXPECT_EQ(memberReactor(1)->actionProfile(), entry(1));
    ASSERT_TRUE(groupReactor(10));
    EXPECT_EQ(groupReactor(10)->group(), group(10));
    ASSERT_TRUE(joinedReactor(10, 1));
}

TEST_F(StateMachineStart, ProgramsEveryEntryAndEveryGroup) {
    for (U32 memberId = 1; memberId <= 20; ++memberId) {
        addEntry(memberId, lagPort(static_cast<U16>(memberId)));
    }
    for (U32 groupId = 1; groupId <= 9; ++groupId) {
        profile->groupIs(RuxGroupId(groupId), 8, groupId, kSetLagPort);
    }
    start();
    EXPECT_EQ(sm->actionProfile().size(), 20u);
    EXPECT_EQ(sm->group().size(), 9u);
    ASSERT_EQ(pd.calls().size(), 38u);
    for (U32 memberId = 1; memberId <= 20; ++memberId) {
        EXPECT_NE(memberHandle(memberId), 0u);
        EXPECT_TRUE(memberReactor(memberId)->hasNotificationActive());
        EXPECT_THAT(pd.calls()[memberId - 1], testing::HasSubstr("add_member_with_setLagPort"));
    }
    for (U32 groupId = 1; groupId <= 9; ++groupId) {
        EXPECT_TRUE(joinedReactor(groupId, groupId));
        EXPECT_THAT(pd.calls()[20 + 2 * (groupId - 1)], testing::HasSubstr("create_group"));
    }
}

TEST_F(StateMachineStart, JoinsMembersOfAGroupWithARestoredHandleBeforeItIsCreatedAnew) {
    addEntry(1, lagPort(101));
    addEntry(2, lagPort(102));
    memberHandleIs(1, 31);
    memberHandleIs(2, 32);
    groupHandleIs(10, 90);
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort)->memberIs(RuxMemberId(2));
    start();
    EXPECT_EQ(pd.count(pdName("modify_member_with_setLagPort")), 2u);
    const auto& calls = pd.calls();
    ASSERT_EQ(calls.size(), 5u);
    EXPECT_EQ(calls[2], joinGroup(90, 32, 0));
    EXPECT_EQ(calls[3], createGroup(8, 0));
    EXPECT_EQ(calls[4], joinGroup(1, 31, 0));
    EXPECT_EQ(groupHandle(10), 1u);
}

TEST_F(StateMachineStartDeathTest, MeetsGroupsWithMembersAndWithoutHandleByAnAssertion) {
    addEntry(2, lagPort(102));
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort)->memberIs(RuxMemberId(2));
    EXPECT_EXIT(start(), KilledBySignal(SIGABRT),
                "handleMemberAdd\\(\\): Assertion `actionProfileSm->helper\\(\\)->sdkHandles\\(\\)"
                "->group\\( kelGroup\\(\\)->groupId\\(\\) \\)' failed\\.");
}

TEST_F(StateMachineStart, ThatIsRefusedAMemberLeavesNoReactorBehind) {
    for (U32 memberId : {1, 2, 3}) {
        addEntry(memberId, lagPort(static_cast<U16>(memberId)));
    }
    pd.failNth(pdName("add_member_with_setLagPort").c_str(), 3, 9);
    EXPECT_THROW(start(), BfTable::BfTableFull);
    EXPECT_FALSE(sm);
    EXPECT_EQ(live.growth().count("KelActionProfile"), 0u);
    EXPECT_EQ(live.growth().count("KelLagGroupActionProfile"), 0u);
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    EXPECT_EQ(profile->notifieeList()->size(), 0u);
    // What had been programmed stays, with its handles.
    EXPECT_EQ(pd.calls().size(), 3u);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 2u);
    journal.clear();
    entry(1)->actionIs(lagPort(7));
    profile->entryDelAll();
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachineStart, ThatIsRefusedAGroupsMemberLeavesNoReactorBehind) {
    addEntry(1, lagPort(1));
    const auto lag = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    pd.failNext(pdName("add_member_to_group").c_str(), 6);
    EXPECT_THROW(start(), BfTableException);
    EXPECT_EQ(live.growth().count("KelGroup"), 0u);
    EXPECT_EQ(live.growth().count("KelActionProfile"), 0u);
    EXPECT_EQ(lag->notifieeList()->size(), 0u);
    EXPECT_EQ(pd.calls().size(), 3u); // nothing is taken back
    EXPECT_EQ(groupHandle(10), 2u);
    profile->groupDel(RuxGroupId(10));
    EXPECT_EQ(pd.calls().size(), 3u);
}

TEST_F(StateMachine, IsFoundThroughTheProfilesNotifiees) {
    const auto top = topReactorOf(*profile);
    ASSERT_TRUE(top);
    EXPECT_EQ(top->lagGroupActionProfileSm(), sm.ptr());
    EXPECT_EQ(top->model(), profile);
}

TEST_F(StateMachine, FollowsEntriesAndGroupsThatComeAndGo) {
    addEntry(1, lagPort(5));
    profile->groupIs(RuxGroupId(10), 4, 1, kSetLagPort);
    profile->groupDel(RuxGroupId(10));
    profile->entryDel(RuxMemberId(1));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), anonKey(1), addLagPort(5), anonKey(10), groupStatus(10),
                            createGroup(4), groupStatus(10), joinGroup(2, 1), groupStatus(10),
                            groupStatus(10), delGroup(2), groupStatus(10), adtStatus(1),
                            delMember(1)));
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(sm->group().size(), 0u);
}

TEST_F(StateMachine, GivenTheSameEntryDoesNothing) {
    haveEntry(1);
    const auto reactor = memberReactor(1);
    EXPECT_EQ(sm->actionProfileIs(entry(1)), reactor);
    profile->entryIs(entry(1));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachine, GivenANewEntryOfAMemberRetargetsItsReactor) {
    haveEntry(1);
    const auto reactor = memberReactor(1);
    const auto old = entry(1);
    addEntry(1, lagPort(9));
    EXPECT_EQ(memberReactor(1), reactor);
    EXPECT_EQ(reactor->actionProfile(), entry(1));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), modifyLagPort(1, 9)));
    EXPECT_EQ(sm->actionProfile().size(), 1u);
    old->actionIs(lagPort(10));
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(old->kelReferenceCount(), 1u);
}

TEST_F(StateMachine, MakesAReactorForAnEntryGivenToItDirectly) {
    const auto reactor = sm->actionProfileIs(entryOf(6, lagPort(9)));
    EXPECT_EQ(memberReactor(6), reactor);
    EXPECT_TRUE(reactor->hasNotificationActive());
    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(6), anonKey(6), addLagPort(9)));
}

TEST_F(StateMachine, GivenNoEntryThrows) {
    try {
        sm->actionProfileIs(nullptr);
        FAIL();
    } catch (const Kel::MutatorArgNullPointerException& e) {
        EXPECT_THAT(e.what(), testing::AllOf(testing::HasSubstr("BfLagGroup::"
                                                                "LagGroupActionProfileSm"),
                                             testing::HasSubstr("actionProfile")));
    }
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachine, KnowsNoReactorOfUnknownIds) {
    EXPECT_FALSE(sm->actionProfile(RuxMemberId(9)));
    EXPECT_FALSE(sm->group(RuxGroupId(9)));
    EXPECT_FALSE(sm->actionProfileDel(RuxMemberId(9)));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachine, HandsOutTheReactorThatItDeletes) {
    haveEntry(1);
    const auto reactor = memberReactor(1);
    EXPECT_EQ(sm->actionProfileDel(RuxMemberId(1)), reactor);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), delMember(1)));
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->lagGroupActionProfileSm(), nullptr);
    entry(1)->actionIs(lagPort(9));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachine, DeletesAMemberOnceThoughTheReactorsDestructorPassesAgain) {
    haveEntry(1);
    profile->entryDel(RuxMemberId(1));
    EXPECT_EQ(live.growth().count("KelActionProfile"), 0u);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), delMember(1)));
}

TEST_F(StateMachine, DeletesAllMemberReactors) {
    for (U32 memberId : {1, 2, 3, 4, 5}) {
        haveEntry(memberId);
    }
    sm->actionProfileDelAll();
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(pd.count(pdName("del_member")), 5u);
}

TEST_F(StateMachine, IgnoresOtherAttributesAndMissingKeys) {
    haveEntry(1);
    const auto top = topReactorOf(*profile);
    const RuxMemberId one(1);
    const RuxMemberId two(2);
    for (Kel::AttributeId id : {130u, 257u, 260u, 262u}) {
        top->onAttribute(id, &one);
    }
    top->onAttribute(258, nullptr);
    top->onAttribute(259, nullptr);
    top->onAttribute(259, &one); // there, and followed already
    top->onAttribute(259, &two); // neither here nor there
    top->onAttribute(258, &two);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(StateMachine, StopsFollowingTheModelAndReturnsIt) {
    haveEntry(1);
    haveGroup(10);
    const auto top = topReactorOf(*profile);
    EXPECT_EQ(sm->lagGroupActionProfileDel(), profile);
    EXPECT_FALSE(sm->lagGroupActionProfile());
    EXPECT_TRUE(top->kelMarkedForDeletion());
    EXPECT_FALSE(top->hasNotificationActive());
    EXPECT_EQ(top->lagGroupActionProfileSm(), nullptr);
    EXPECT_FALSE(sm->lagGroupActionProfileDel());

    top->hasNotificationActiveIs(true);
    addEntry(2, lagPort(5));
    profile->entryDel(RuxMemberId(2));
    const RuxMemberId one(1);
    top->onAttribute(259, &one);
    top->notifierIs(newProfile());
    EXPECT_THAT(journal.take(), IsEmpty());

    entry(1)->actionIs(lagPort(9)); // the other reactors work on
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), modifyLagPort(1, 9)));
}

TEST_F(StateMachine, GivenAnotherModelBecomesEqualToIt) {
    for (U32 memberId : {1, 2, 3}) {
        haveEntry(memberId);
    }
    haveGroup(10);
    profile->groupDel(RuxGroupId(10)); // its members would go before it
    journal.clear();
    pd.takeCalls();

    const auto next = newProfile();
    next->entryIs(entry(1));                // the same object
    next->entryIs(entryOf(2, lagPort(22))); // another object of the same member
    next->entryIs(entryOf(4, lagPort(44))); // new; member 3 is gone
    next->groupIs(RuxGroupId(11), 4, 4, kSetLagPort);
    const auto top = topReactorOf(*profile);
    pd.handleIs(80);
    top->notifierIs(next);

    EXPECT_THAT(pd.calls(),
                testing::UnorderedElementsAre(modifyLagPort(memberHandle(2), 22), addLagPort(44),
                                              delMember(3), createGroup(4), joinGroup(81, 80)));
    EXPECT_EQ(pd.calls()[2], delMember(3));
    EXPECT_EQ(pd.calls()[3], createGroup(4));
    EXPECT_EQ(sm->lagGroupActionProfile(), next);
    EXPECT_TRUE(top->isRegisteredNotifiee());
    EXPECT_FALSE(memberReactor(3));

    journal.clear();
    profile->entryDel(RuxMemberId(1)); // no longer followed
    EXPECT_THAT(journal.take(), IsEmpty());
    next->groupDel(RuxGroupId(11));
    next->entryDel(RuxMemberId(1));
    EXPECT_EQ(pd.count(pdName("del_member")), 2u);
    top->notifierIs(next); // unchanged: nothing
    profile = next;
}

TEST_F(StateMachine, GivenAnotherModelRetiresGroupsOfTheSameIdFirst) {
    haveEntry(1);
    haveGroup(10);
    const auto next = newProfile();
    next->entryIs(entry(1));
    next->groupIs(RuxGroupId(10), 4, 1, kSetLagPort);
    const auto old = groupReactor(10);
    topReactorOf(*profile)->notifierIs(next);
    EXPECT_THAT(pd.calls(), ElementsAre(delGroup(2), createGroup(4), joinGroup(3, 1)));
    EXPECT_TRUE(old->kelMarkedForDeletion());
    EXPECT_NE(groupReactor(10), old);
}

TEST_F(StateMachine, GivenAModelThatLacksAGroupDeletesIt) {
    haveEntry(1);
    haveGroup(10);
    const auto next = newProfile();
    next->entryIs(entry(1));
    topReactorOf(*profile)->notifierIs(next);
    EXPECT_THAT(pd.calls(), ElementsAre(delGroup(2)));
    EXPECT_EQ(sm->group().size(), 0u);
}

TEST_F(StateMachine, GivenAnObjectThatIsNoModelFollowsNone) {
    haveEntry(1);
    topReactorOf(*profile)->notifierIs(entry(1));
    EXPECT_FALSE(sm->lagGroupActionProfile());
    profile->entryDel(RuxMemberId(1));
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_TRUE(memberReactor(1));
}

TEST_F(StateMachine, PassesTheNotificationSwitchOnWhenItChanges) {
    haveEntry(1);
    haveGroup(10);
    sm->hasNotificationActiveIs(false);
    EXPECT_FALSE(topReactorOf(*profile)->hasNotificationActive());
    EXPECT_FALSE(memberReactor(1)->hasNotificationActive());
    EXPECT_FALSE(groupReactor(10)->hasNotificationActive());
    EXPECT_FALSE(joinedReactor(10, 1)->hasNotificationActive());
    addEntry(2, lagPort(5));
    entry(1)->actionIs(lagPort(6));
    EXPECT_THAT(journal.take(), IsEmpty());

    memberReactor(1)->hasNotificationActiveIs(true);
    sm->hasNotificationActiveIs(false); // no change, so nothing is passed on
    EXPECT_TRUE(memberReactor(1)->hasNotificationActive());
    sm->hasNotificationActiveIs(true);
    EXPECT_TRUE(topReactorOf(*profile)->hasNotificationActive());
    EXPECT_TRUE(joinedReactor(10, 1)->hasNotificationActive());
}

TEST_F(StateMachine, SwitchesANewReactorOnWhateverItsOwnSwitch) {
    haveEntry(1);
    const auto lag = haveGroup(10);
    sm->hasNotificationActiveIs(false);
    EXPECT_TRUE(sm->actionProfileIs(entryOf(2, lagPort(5)))->hasNotificationActive());
    EXPECT_TRUE(
        groupReactor(10)->groupMemberIs(lag->memberIs(RuxMemberId(2)))->hasNotificationActive());
    EXPECT_TRUE(
        sm->groupIs(profile->groupIs(RuxGroupId(11), 8, 1, kSetLagPort))->hasNotificationActive());
    EXPECT_FALSE(sm->hasNotificationActive());
    EXPECT_FALSE(groupReactor(10)->hasNotificationActive());
}

TEST_F(StateMachine, WithAMarkedTopReactorIgnoresTheModel) {
    const auto top = topReactorOf(*profile);
    top->kelDoZombieReactors(true);
    top->hasNotificationActiveIs(true);
    addEntry(1, lagPort(5));
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_EQ(sm->actionProfile().size() + sm->group().size(), 0u);
}

TEST_F(StateMachine, KeepsTheModelAliveUntilItLetsGo) {
    const LagGroupActionProfile* raw = profile.ptr();
    profile = nullptr;
    EXPECT_EQ(sm->lagGroupActionProfile().ptr(), raw);
    EXPECT_EQ(sm->lagGroupActionProfileDel()->kelReferenceCount(), 1u);
    EXPECT_EQ(live.growth().count("LagGroupActionProfile"), 0u);
}

} // namespace
} // namespace sm_test
