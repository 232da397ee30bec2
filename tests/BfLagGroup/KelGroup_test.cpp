// How a group of the model becomes a selector group of the chip.
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"
#include "tests/support/TraceLines.h"

namespace sm_test {
namespace {

using BfTable::BfNoSysResources;
using BfTable::BfTableException;
using BfTable::BfTableFull;
using testing::KilledBySignal;

/// Three members to make groups of, with the handles 1, 2 and 3; groups get 50 and up.
class Groups : public RunningStateMachineTest {
  protected:
    Groups() {
        for (U32 memberId : {1, 2, 3}) {
            haveEntry(memberId);
        }
        pd.handleIs(50);
    }
};
using GroupsDeathTest = Groups;

TEST_F(Groups, AreCreatedAndGetTheirInitialMemberInModelAndHardware) {
    const auto made = profile->groupIs(RuxGroupId(10), 8, 2, kSetLagPort);
    EXPECT_THAT(journal.take(), ElementsAre(anonKey(10), groupStatus(10), createGroup(8),
                                            groupStatus(10), joinGroup(50, 2)));
    EXPECT_EQ(groupHandle(10), 50u);
    EXPECT_EQ(made->members(), 1u);
    ASSERT_TRUE(made->member(RuxMemberId(2)));
    EXPECT_TRUE(made->member(RuxMemberId(2))->active());
    ASSERT_TRUE(groupReactor(10));
    EXPECT_EQ(groupReactor(10)->group(), made);
    EXPECT_TRUE(groupReactor(10)->hasNotificationActive());
    ASSERT_TRUE(joinedReactor(10, 2));
    EXPECT_EQ(joinedReactor(10, 2)->groupMember(), made->member(RuxMemberId(2)));
    EXPECT_TRUE(joinedReactor(10, 2)->hasNotificationActive());
}

TEST_F(Groups, AskForTheLowSixteenBitsOfTheirSize) {
    profile->groupIs(RuxGroupId(10), 70000, 1, kSetLagPort);
    profile->groupIs(RuxGroupId(11), 65535, 1, kSetLagPort);
    profile->groupIs(RuxGroupId(12), 65536, 1, kSetLagPort);
    EXPECT_THAT(pd.calls(), ElementsAre(createGroup(4464), joinGroup(50, 1), createGroup(65535),
                                        joinGroup(51, 1), createGroup(0), joinGroup(52, 1)));
}

TEST_F(Groups, OverwriteAHandleThatTheirIdHasAlready) {
    groupHandleIs(10, 900);
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_THAT(pd.calls(), ElementsAre(createGroup(8), joinGroup(50, 1)));
    EXPECT_EQ(groupHandle(10), 50u);
    EXPECT_EQ(helper->sdkHandles()->group().size(), 1u);
}

TEST_F(Groups, WorkWithoutManagersAndInSessionZeroUntilOneIsSet) {
    sm = nullptr;
    sm = Sm::LagGroupActionProfileSmIs(profile, helper, nullptr, nullptr);
    pd.handleIs(70);
    journal.clear();
    const U32 member = memberHandle(1);
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    profile->groupDel(RuxGroupId(10));
    EXPECT_THAT(journal.take(),
                ElementsAre(createGroup(8, 0), joinGroup(70, member, 0), delGroup(70, 0)));
}

TEST_F(Groups, AreDeletedByOneCallAndNotMemberByMember) {
    const auto removed = haveGroup(10, {2, 3});
    EXPECT_EQ(profile->groupDel(RuxGroupId(10)), removed);
    // The members' handlers run before and after the call, and see that the group is going.
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), groupStatus(10), groupStatus(10), groupStatus(10),
                            delGroup(50), groupStatus(10), groupStatus(10), groupStatus(10)));
    EXPECT_EQ(groupHandle(10), 0u);
    EXPECT_EQ(helper->sdkHandles()->group().size(), 0u);
    EXPECT_FALSE(groupReactor(10));
    EXPECT_EQ(removed->members(), 3u);
    EXPECT_EQ(removed->parent(), nullptr);

    removed->memberDel(RuxMemberId(2)); // nobody follows it any more
    removed->member(RuxMemberId(3))->activeIs(false);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, ThatAreDeletedLeaveTheirReactorsMarkedAndWithoutOwner) {
    haveGroup(10, {2});
    const auto reactor = groupReactor(10);
    const auto member = joinedReactor(10, 2);
    profile->groupDel(RuxGroupId(10));
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->lagGroupActionProfileSm(), nullptr);
    EXPECT_TRUE(member->kelMarkedForDeletion());
    EXPECT_FALSE(member->hasNotificationActive());
}

TEST_F(Groups, ClearTheOwnerOfTheirMemberReactorsWhenTheirReactorDies) {
    haveGroup(10);
    const auto member = joinedReactor(10, 1);
    EXPECT_EQ(member->kelGroup(), groupReactor(10).ptr());
    profile->groupDel(RuxGroupId(10));
    EXPECT_EQ(member->kelGroup(), nullptr);
    EXPECT_TRUE(member->groupMember()); // it holds its model object all the same
}

TEST_F(Groups, CanBeMadeAgainWithOtherValues) {
    haveGroup(10);
    profile->groupDel(RuxGroupId(10));
    journal.clear();
    profile->groupIs(RuxGroupId(10), 16, 3, kSetLagPort);
    EXPECT_THAT(journal.take(), ElementsAre(anonKey(10), groupStatus(10), createGroup(16),
                                            groupStatus(10), joinGroup(51, 3)));
    EXPECT_EQ(groupHandle(10), 51u);
}

TEST_F(Groups, ThatTheChipRefusesHaveNoReactorNoHandleAndNoMember) {
    pd.failNext(pdName("create_group").c_str(), 9);
    try {
        profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
        FAIL();
    } catch (const BfTableFull& e) {
        EXPECT_STREQ(e.what(), "p4_pd_velmor_switch_lagPortActionProfile_create_group() failed: "
                               "Not enough Space");
    }
    EXPECT_THAT(journal.take(), ElementsAre(anonKey(10), groupStatus(10), createGroup(8)));
    EXPECT_FALSE(groupReactor(10));
    EXPECT_EQ(live.growth()["KelGroup"], 0);
    EXPECT_EQ(helper->sdkHandles()->group().size(), 0u);
    ASSERT_TRUE(group(10)); // the model has changed all the same
    EXPECT_EQ(group(10)->members(), 0u);

    group(10)->memberIs(RuxMemberId(2)); // nobody follows it
    profile->groupDel(RuxGroupId(10));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, WhoseInitialMemberIsRefusedStayAndTheExceptionLeavesTheModelsMutator) {
    pd.failNext(pdName("add_member_to_group").c_str(), 2);
    try {
        profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
        FAIL();
    } catch (const BfNoSysResources& e) {
        EXPECT_STREQ(e.what(), "p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group() "
                               "failed: No system resources");
    }
    EXPECT_THAT(journal.take(), ElementsAre(anonKey(10), groupStatus(10), createGroup(8),
                                            groupStatus(10), joinGroup(50, 1)));
    ASSERT_TRUE(groupReactor(10));
    EXPECT_TRUE(groupReactor(10)->hasNotificationActive());
    EXPECT_FALSE(joinedReactor(10, 1));
    EXPECT_EQ(groupReactor(10)->groupMember().size(), 0u);
    EXPECT_EQ(groupHandle(10), 50u);
    EXPECT_TRUE(group(10)->member(RuxMemberId(1)));

    group(10)->memberIs(RuxMemberId(2)); // the group works on
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
}

TEST_F(Groups, WhoseDeletionIsRefusedKeepTheirHandleAndAreCalledForOnce) {
    haveGroup(10, {2});
    auto reactor = groupReactor(10);
    auto member = joinedReactor(10, 2);
    pd.failNext(pdName("del_group").c_str(), 9);
    EXPECT_THROW(profile->groupDel(RuxGroupId(10)), BfTableFull);
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), groupStatus(10), groupStatus(10), delGroup(50)));
    EXPECT_EQ(groupHandle(10), 50u);
    EXPECT_FALSE(group(10));
    EXPECT_FALSE(groupReactor(10));
    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->lagGroupActionProfileSm(), nullptr);

    EXPECT_EQ(reactor->kelReferenceCount(), 1u);
    reactor = nullptr;
    EXPECT_EQ(member->kelGroup(), nullptr);
    member = nullptr;
    EXPECT_THAT(journal.take(), IsEmpty());

    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_EQ(groupHandle(10), 51u);
}

TEST_F(Groups, ReplacedByAnotherObjectOfTheirIdAreRetiredFirst) {
    const auto old = haveGroup(10, {2});
    const auto oldReactor = groupReactor(10);
    sm->hasNotificationActiveIs(false); // so that it sees only what comes out in the end
    profile->groupDel(RuxGroupId(10));
    const auto next = profile->groupIs(RuxGroupId(10), 4, 3, kSetLagPort);
    sm->hasNotificationActiveIs(true);
    EXPECT_THAT(journal.take(), IsEmpty());

    const auto reactor = sm->groupIs(next);
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), groupStatus(10), groupStatus(10), delGroup(50),
                            groupStatus(10), groupStatus(10), anonKey(10), groupStatus(10),
                            createGroup(4), groupStatus(10), joinGroup(51, 3)));
    EXPECT_NE(reactor, oldReactor);
    EXPECT_TRUE(oldReactor->kelMarkedForDeletion());
    EXPECT_EQ(groupReactor(10), reactor);
    EXPECT_EQ(reactor->group(), next);
    EXPECT_EQ(groupHandle(10), 51u);
    EXPECT_EQ(old->members(), 2u);
}

TEST_F(Groups, GivenAgainAreTheSameReactorAndNoCall) {
    const auto made = haveGroup(10);
    EXPECT_EQ(sm->groupIs(made), groupReactor(10));
    EXPECT_EQ(profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort), made);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, MayNotBeNull) {
    try {
        sm->groupIs(nullptr);
        FAIL();
    } catch (const Kel::MutatorArgNullPointerException& e) {
        EXPECT_THAT(e.what(), testing::AllOf(testing::HasSubstr("BfLagGroup::"
                                                                "LagGroupActionProfileSm"),
                                             testing::HasSubstr("group")));
    }
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, ThatAreUnknownAreDeletedWithoutACall) {
    EXPECT_FALSE(sm->groupDel(RuxGroupId(99)));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, AreAllDeletedOneByOne) {
    haveGroup(10);
    haveGroup(11);
    haveGroup(12);
    sm->groupDelAll();
    EXPECT_EQ(sm->group().size(), 0u);
    EXPECT_THAT(pd.calls(),
                testing::UnorderedElementsAre(delGroup(50), delGroup(51), delGroup(52)));
}

TEST_F(Groups, IgnoreEveryAttributeButTheirMembers) {
    haveGroup(10);
    const RuxMemberId two(2);
    for (Kel::AttributeId id : {258u, 259u, 260u, 261u, 263u, 130u}) {
        groupReactor(10)->onAttribute(id, &two);
    }
    groupReactor(10)->onAttribute(LagGroupGroup::kMember, nullptr);
    groupReactor(10)->onAttribute(LagGroupGroup::kMember, &two); // neither here nor there
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Groups, PassTheNotificationSwitchOnToTheirMembersWhenItChanges) {
    const auto made = haveGroup(10, {2});
    const auto reactor = groupReactor(10);
    reactor->hasNotificationActiveIs(false);
    EXPECT_FALSE(joinedReactor(10, 1)->hasNotificationActive());
    EXPECT_FALSE(joinedReactor(10, 2)->hasNotificationActive());
    made->member(RuxMemberId(2))->activeIs(false);
    made->memberIs(RuxMemberId(3));
    EXPECT_THAT(journal.take(), IsEmpty());

    joinedReactor(10, 2)->hasNotificationActiveIs(true);
    reactor->hasNotificationActiveIs(false); // no change, so nothing is passed on
    EXPECT_TRUE(joinedReactor(10, 2)->hasNotificationActive());
    reactor->hasNotificationActiveIs(true);
    EXPECT_TRUE(joinedReactor(10, 1)->hasNotificationActive());
}

TEST_F(Groups, WhoseReactorIsGivenAnotherObjectFollowThatOnesMembers) {
    haveGroup(10, {2});
    const auto reactor = groupReactor(10);
    const auto other = groupOf(10, 8, 1, kSetLagPort);
    other->memberIs(RuxMemberId(1));
    other->memberIs(RuxMemberId(3));
    reactor->notifierIs(other);
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), joinGroup(50, 3), groupStatus(10), leaveGroup(50, 2)));
    EXPECT_EQ(reactor->group(), other);
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    other->memberIs(RuxMemberId(2));
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
}

TEST_F(Groups, RememberThatTheyAreInitialized) {
    haveGroup(10);
    EXPECT_FALSE(groupReactor(10)->initialized());
    groupReactor(10)->initializedIs(true);
    EXPECT_TRUE(groupReactor(10)->initialized());
}

TEST_F(Groups, TraceTheirHandlers) {
    const test_support::TraceLines trace("BfLagGroup", 9);
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    profile->groupDel(RuxGroupId(10));
    const std::string source = "9 bf_velmor_switch/kel/BfLagGroup/BfLagGroup ";
    const std::string group = "void BfLagGroup::LagGroupActionProfileSm::KelGroup::";
    const std::string memberAdd =
        source + "handleMemberAdd: " + group + "KelGroupMember::handleMemberAdd()";
    const std::string memberDel =
        source + "handleMemberDel: " + group + "KelGroupMember::handleMemberDel()";
    EXPECT_THAT(trace.texts(),
                ElementsAre(source + "handleGroupAdd: " + group + "handleGroupAdd()", memberAdd,
                            source + "handleGroupDel: " + group + "handleGroupDel()", memberDel,
                            memberDel));
}

/// Counts how often its virtual operations are called.
class CountingGroup : public Sm::KelGroup {
  public:
    using KelGroup::groupMemberDel;
    using KelGroup::KelGroup;
    Kel::Ptr<KelGroupMember> groupMemberDel(RuxMemberId memberId) override {
        ++deletions;
        return KelGroup::groupMemberDel(memberId);
    }
    Kel::Ptr<KelGroupMember> groupMemberIs(const Kel::Ptr<LagGroupMember const>& member) override {
        ++insertions;
        return KelGroup::groupMemberIs(member);
    }
    int deletions = 0;
    int insertions = 0;
};

TEST_F(Groups, HandleTheirMembersThroughTheVirtualOperations) {
    sm->hasNotificationActiveIs(false);
    const auto lag = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    const Kel::Ptr<CountingGroup> reactor = new CountingGroup(lag, sm.ptr());
    lag->memberIs(RuxMemberId(2));
    for (const U32 id : {1u, 2u, 3u}) {
        const RuxMemberId memberId(id);
        reactor->onAttribute(LagGroupGroup::kMember, &memberId);
    }
    EXPECT_EQ(reactor->insertions, 2);
    EXPECT_EQ(reactor->deletions, 1); // of member 3, which there is not
    reactor->groupMemberDelAll();
    EXPECT_EQ(reactor->deletions, 3);
    EXPECT_EQ(reactor->groupMember().size(), 0u);
}

TEST_F(Groups, TraceTheirDeletionBeforeTheStatusManagerIsTold) {
    haveGroup(10);
    Kel::traceSinkIs([this](std::string_view line) {
        journal.add(line.find(" handleGroupDel ") != line.npos ? "traced" : "traced otherwise");
    });
    Kel::traceLevelIs("BfLagGroup", 9);
    profile->groupDel(RuxGroupId(10));
    Kel::traceLevelIs("BfLagGroup", 0);
    Kel::traceSinkIs(nullptr);
    EXPECT_EQ(journal.lines().at(0), "traced");
    EXPECT_EQ(journal.lines().at(1), groupStatus(10));
}

TEST_F(GroupsDeathTest, WithoutAHandleMayNotBeDeleted) {
    haveGroup(10);
    helper->sdkHandles()->groupDel(RuxGroupId(10));
    EXPECT_EXIT(profile->groupDel(RuxGroupId(10)), KilledBySignal(SIGABRT),
                "bf_velmor_switch/kel/BfLagGroup/BfLagGroup:[0-9]+: void BfLagGroup::"
                "LagGroupActionProfileSm::KelGroup::handleGroupDel\\(\\): Assertion "
                "`lagGroupActionProfileSm\\(\\)->helper\\(\\)->sdkHandles\\(\\)->group\\( "
                "group\\(\\)->groupId\\(\\) \\)' failed\\.");
}

TEST_F(GroupsDeathTest, WithMembersMayNotBeHandedToANewReactorBeforeTheyHaveAHandle) {
    const auto full = groupOf(10, 8, 1, kSetLagPort);
    full->memberIs(RuxMemberId(2));
    EXPECT_EXIT(sm->groupIs(full), KilledBySignal(SIGABRT),
                "KelGroupMember::handleMemberAdd\\(\\): Assertion `actionProfileSm->helper\\(\\)->"
                "sdkHandles\\(\\)->group\\( kelGroup\\(\\)->groupId\\(\\) \\)' failed\\.");
}

TEST_F(GroupsDeathTest, MayNotBeDeletedAfterTheEntriesOfTheirMembers) {
    haveGroup(10, {2});
    profile->entryDel(RuxMemberId(2));
    EXPECT_EXIT(profile->groupDel(RuxGroupId(10)), KilledBySignal(SIGABRT),
                "KelGroupMember::handleMemberDel\\(\\): Assertion `actionProfileSm->helper\\(\\)->"
                "sdkHandles\\(\\)->member\\( groupMember\\(\\)->memberId\\(\\) \\)' failed\\.");
    memberHandleIs(2, 2);
}

TEST_F(GroupsDeathTest, MustBeInTheModelThatTheStateMachineServes) {
    const auto elsewhere = groupOf(10, 8, 1, kSetLagPort);
    EXPECT_EXIT(sm->groupIs(elsewhere), KilledBySignal(SIGABRT),
                "bf_velmor_switch/kel/BfLagGroup/BfLagGroup:[0-9]+: void BfLagGroup::"
                "LagGroupActionProfileSm::KelGroup::handleGroupAdd\\(\\): Assertion ");
    EXPECT_THAT(pd.calls(), IsEmpty());
    sm->lagGroupActionProfileDel();
    EXPECT_EXIT(sm->groupIs(elsewhere), KilledBySignal(SIGABRT),
                "KelGroup::handleGroupAdd\\(\\): Assertion ");
}

} // namespace
} // namespace sm_test
