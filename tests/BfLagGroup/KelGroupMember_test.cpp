// How members join and leave the selector groups of the chip, and become active or inactive.
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"
#include "tests/support/TraceLines.h"

namespace sm_test {
namespace {

using BfTable::BfNoSysResources;
using BfTable::BfTableException;
using testing::KilledBySignal;

/// Members 1, 2 and 3 with the handles 1, 2 and 3; member 1 is in group 10 with the handle 50.
class GroupMembers : public RunningStateMachineTest {
  protected:
    GroupMembers() {
        for (U32 memberId : {1, 2, 3}) {
            haveEntry(memberId);
        }
        pd.handleIs(50);
        lag = haveGroup(10);
    }

    LagGroupMember::Ptr member(U32 memberId) const { return lag->member(RuxMemberId(memberId)); }
    void join(U32 memberId) { lag->memberIs(RuxMemberId(memberId)); }
    void leave(U32 memberId) { lag->memberDel(RuxMemberId(memberId)); }

    LagGroupGroup::Ptr lag;
};
using GroupMembersDeathTest = GroupMembers;

TEST_F(GroupMembers, JoinTheHardwareGroupAndGetNoStateCall) {
    join(2);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
    ASSERT_TRUE(joinedReactor(10, 2));
    EXPECT_EQ(joinedReactor(10, 2)->groupMember(), member(2));
    EXPECT_EQ(joinedReactor(10, 2)->kelGroup(), groupReactor(10).ptr());
    EXPECT_TRUE(joinedReactor(10, 2)->hasNotificationActive());
    join(2); // it is there already
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, AreSetInactiveByOneAndActiveByZero) {
    join(2);
    journal.clear();
    member(2)->activeIs(true); // as it is
    EXPECT_THAT(journal.take(), IsEmpty());
    member(2)->activeIs(false);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 1)));
    member(2)->activeIs(true);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 0)));
}

TEST_F(GroupMembers, LeaveTheHardwareGroupByOneCall) {
    join(2);
    auto reactor = joinedReactor(10, 2);
    journal.clear();
    leave(2);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), leaveGroup(50, 2)));
    EXPECT_FALSE(joinedReactor(10, 2));
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_EQ(reactor->kelGroup(), nullptr);
    EXPECT_FALSE(reactor->hasNotificationActive());
    reactor = nullptr;
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, LeaveWithoutAHardwareCallWhenTheGroupReactorFollowsNoGroup) {
    join(2);
    journal.clear();
    groupReactor(10)->notifierIs(Kel::PtrInterface::PtrConst(entry(1))); // no group at all
    EXPECT_FALSE(groupReactor(10)->group());
    EXPECT_TRUE(groupReactor(10)->groupMemberDel(RuxMemberId(2)));
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10)));
}

TEST_F(GroupMembers, ThatComeBackAreActiveAgain) {
    join(2);
    member(2)->activeIs(false);
    leave(2);
    journal.clear();
    join(2);
    EXPECT_TRUE(member(2)->active());
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
}

TEST_F(GroupMembers, IncludingTheInitialOneMayLeaveAsLongAsAnotherStays) {
    join(2);
    journal.clear();
    leave(1);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), leaveGroup(50, 1)));
}

TEST_F(GroupMembers, CanBeInSeveralGroups) {
    const auto other = haveGroup(11, {2});
    join(2);
    journal.clear();
    other->member(RuxMemberId(2))->activeIs(false);
    member(2)->activeIs(false);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(11), stateSet(51, 2, 1), groupStatus(10),
                                            stateSet(50, 2, 1)));
}

TEST_F(GroupMembers, UseTheHandlesThatTheMapsHoldAtThatTime) {
    join(2);
    memberHandleIs(2, 22);
    groupHandleIs(10, 60);
    member(2)->activeIs(false);
    leave(2);
    EXPECT_THAT(pd.calls(), ElementsAre(joinGroup(50, 2), stateSet(60, 22, 1), leaveGroup(60, 22)));
}

TEST_F(GroupMembers, IgnoreEveryAttributeButActive) {
    for (Kel::AttributeId id : {258u, 260u, 262u, 130u}) {
        joinedReactor(10, 1)->onAttribute(id, nullptr);
    }
    EXPECT_THAT(journal.take(), IsEmpty());
    joinedReactor(10, 1)->onAttribute(259, nullptr);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 1, 0)));
}

TEST_F(GroupMembers, OfAMarkedReactorIgnoreChangesOfActive) {
    join(2);
    const auto reactor = joinedReactor(10, 2);
    reactor->kelDoZombieReactors(true);
    journal.clear();
    member(2)->activeIs(false);
    reactor->hasNotificationActiveIs(true);
    member(2)->activeIs(true);
    reactor->notifierIs(Kel::Ptr<LagGroupMember>(new LagGroupMember(RuxMemberId(3))));
    reactor->kelDoZombieReactors(true);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, OfAReactorGivenAnotherObjectAreFollowedFromThere) {
    const auto reactor = joinedReactor(10, 1);
    const LagGroupMember::Ptr other = new LagGroupMember(RuxMemberId(1));
    other->hasNotificationActiveIs(true);
    reactor->notifierIs(other);
    reactor->notifierIs(other);
    member(1)->activeIs(false);
    EXPECT_THAT(journal.take(), IsEmpty()) << "a second join is what the chip would refuse";
    other->activeIs(false);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 1, 1)));
    reactor->notifierIs(Kel::PtrInterface::PtrConst(lag)); // no member at all
    EXPECT_FALSE(reactor->groupMember());
    EXPECT_THAT(journal.take(), IsEmpty());
    reactor->notifierIs(other);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 1, 1)));
}

TEST_F(GroupMembers, OfAReactorGivenTheObjectOfAnotherMemberJoin) {
    const auto reactor = joinedReactor(10, 1);
    reactor->notifierIs(Kel::Ptr<LagGroupMember>(new LagGroupMember(RuxMemberId(3))));
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 3)));
}

TEST_F(GroupMembers, MadeAgainByAnEarlierFollowerAreFollowedFromThere) {
    // Registered before the state machine's reactor, which is registered anew behind it.
    struct Replacer : Kel::PtrInterface::NotifieeConst {
        void onAttribute(Kel::AttributeId, const void* key) override {
            group->memberIs(*static_cast<const RuxMemberId*>(key));
        }
        LagGroupGroup* group = nullptr;
    } replacer;
    join(2);
    member(2)->activeIs(false);
    groupReactor(10)->isRegisteredNotifieeIs(false);
    replacer.group = lag.ptr();
    replacer.notifierIs(Kel::PtrInterface::PtrConst(lag));
    replacer.hasNotificationActiveIs(true);
    groupReactor(10)->isRegisteredNotifieeIs(true);
    journal.clear();

    leave(2);
    EXPECT_EQ(joinedReactor(10, 2)->groupMember(), member(2));
    // The chip's member has never left; it is active again as the model's is.
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 0)));
    member(2)->activeIs(false);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 1)));
}

TEST_F(GroupMembers, MadeAgainWhileNobodyWasToldAreFollowedOnceTheyAreGivenToTheirReactor) {
    join(2);
    const auto reactor = joinedReactor(10, 2);
    const auto old = member(2);
    lag->hasNotificationActiveIs(false);
    leave(2);
    join(2);
    lag->hasNotificationActiveIs(true);
    journal.clear();

    EXPECT_EQ(groupReactor(10)->groupMemberIs(member(2)), reactor);
    EXPECT_EQ(reactor->groupMember(), member(2));
    EXPECT_THAT(journal.take(), IsEmpty()) << "the chip's member is in the group, and active";
    old->activeIs(false);
    EXPECT_THAT(journal.take(), IsEmpty());
    member(2)->activeIs(false);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 1)));
}

TEST_F(GroupMembers, ThatTheChipRefusesHaveNoReactorWhileTheyStayInTheModel) {
    pd.failNext(pdName("add_member_to_group").c_str(), 2);
    try {
        join(2);
        FAIL();
    } catch (const BfNoSysResources& e) {
        EXPECT_EQ(e.status, 2u);
    }
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
    EXPECT_FALSE(joinedReactor(10, 2));
    EXPECT_EQ(live.growth()["KelGroupMember"], 1); // that of member 1
    ASSERT_TRUE(member(2));

    member(2)->activeIs(false); // nobody follows it
    leave(2);
    EXPECT_THAT(journal.take(), IsEmpty());
    join(2);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 2)));
}

TEST_F(GroupMembers, WhoseLeavingIsRefusedHaveLostTheirReactorAndAreCalledForOnce) {
    join(2);
    auto reactor = joinedReactor(10, 2);
    journal.clear();
    pd.failNext(pdName("del_member_from_group").c_str(), 6);
    EXPECT_THROW(leave(2), BfTableException);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), leaveGroup(50, 2)));
    EXPECT_FALSE(member(2));
    EXPECT_FALSE(joinedReactor(10, 2));
    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_EQ(reactor->kelGroup(), nullptr);
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->kelReferenceCount(), 1u);
    reactor = nullptr;
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, WhoseStateIsRefusedKeepTheirReactorAndTheModelsValue) {
    join(2);
    const auto reactor = joinedReactor(10, 2);
    journal.clear();
    pd.failNext(pdName("group_member_state_set").c_str(), 18);
    EXPECT_THROW(member(2)->activeIs(false), BfTableException);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 1)));
    EXPECT_FALSE(member(2)->active());
    EXPECT_EQ(joinedReactor(10, 2), reactor);
    member(2)->activeIs(false); // not retried
    EXPECT_THAT(journal.take(), IsEmpty());
    member(2)->activeIs(true);
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 0)));
}

TEST_F(GroupMembers, MayNotBeNull) {
    try {
        groupReactor(10)->groupMemberIs(nullptr);
        FAIL();
    } catch (const Kel::MutatorArgNullPointerException& e) {
        EXPECT_THAT(e.what(), testing::AllOf(testing::HasSubstr("BfLagGroup::"
                                                                "LagGroupActionProfileSm::"
                                                                "KelGroup"),
                                             testing::HasSubstr("groupMember")));
    }
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, GivenAgainAreTheSameReactor) {
    EXPECT_EQ(groupReactor(10)->groupMemberIs(member(1)), joinedReactor(10, 1));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, ThatAreUnknownAreDeletedWithoutACall) {
    EXPECT_FALSE(groupReactor(10)->groupMemberDel(RuxMemberId(99)));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(GroupMembers, CanBeDeletedByTheirPositionInTheCollection) {
    join(2);
    const auto reactor = groupReactor(10);
    const auto position = reactor->groupMember().begin();
    const auto expected = (*position)->fwkKey();
    journal.clear();
    const auto removed = reactor->groupMemberDel(position);
    EXPECT_EQ(removed->fwkKey(), expected);
    EXPECT_FALSE(reactor->groupMember(expected));
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), leaveGroup(50, memberHandle(expected.value()))));
}

TEST_F(GroupMembers, AreAllDeletedOneByOne) {
    join(2);
    join(3);
    groupReactor(10)->groupMemberDelAll(); // the model still holds them, so none is the last
    EXPECT_EQ(groupReactor(10)->groupMember().size(), 0u);
    EXPECT_THAT(pd.calls(),
                testing::UnorderedElementsAre(joinGroup(50, 2), joinGroup(50, 3), leaveGroup(50, 1),
                                              leaveGroup(50, 2), leaveGroup(50, 3)));
}

TEST_F(GroupMembers, RememberThatTheyAreInitialized) {
    EXPECT_FALSE(joinedReactor(10, 1)->initialized());
    joinedReactor(10, 1)->initializedIs(true);
    EXPECT_TRUE(joinedReactor(10, 1)->initialized());
}

TEST_F(GroupMembers, TraceTheirHandlers) {
    const test_support::TraceLines trace("BfLagGroup", 9);
    join(2);
    member(2)->activeIs(false);
    leave(2);
    const std::string source = "9 bf_velmor_switch/kel/BfLagGroup/BfLagGroup ";
    const std::string reactor = "void BfLagGroup::LagGroupActionProfileSm::KelGroup::"
                                "KelGroupMember::";
    EXPECT_THAT(trace.texts(),
                ElementsAre(source + "handleMemberAdd: " + reactor + "handleMemberAdd()",
                            source + "handleActive: " + reactor + "handleActive()",
                            source + "handleMemberDel: " + reactor + "handleMemberDel()"));
}

TEST_F(GroupMembers, WorkWithoutAStatusManager) {
    profile->groupDel(RuxGroupId(10));
    sm = nullptr;
    sm = Sm::LagGroupActionProfileSmIs(profile, helper, nullptr, nullptr);
    pd.handleIs(50);
    lag = haveGroup(10);
    const U32 handle = memberHandle(2);
    sm->sessionHandleIs(kSmSession);
    join(2);
    member(2)->activeIs(false);
    leave(2);
    EXPECT_THAT(journal.take(), ElementsAre(joinGroup(50, handle), stateSet(50, handle, 1),
                                            leaveGroup(50, handle)));
}

/// The message of a failed assertion in one of the three handlers, as a regular expression.
std::string failedAssertion(const std::string& handler, const std::string& text) {
    return "bf_velmor_switch/kel/BfLagGroup/BfLagGroup:[0-9]+: void BfLagGroup::"
           "LagGroupActionProfileSm::KelGroup::KelGroupMember::" +
           handler + "\\(\\): Assertion `" + text + "' failed\\.";
}

const std::string kMemberHandle = "actionProfileSm->helper\\(\\)->sdkHandles\\(\\)->member\\( "
                                  "groupMember\\(\\)->memberId\\(\\) \\)";
const std::string kGroupHandle = "actionProfileSm->helper\\(\\)->sdkHandles\\(\\)->group\\( "
                                 "kelGroup\\(\\)->groupId\\(\\) \\)";
const std::string kActionType = "tap->actionProfile\\(\\)->action\\(\\)->actionType\\(\\) == "
                                "kelGroup\\(\\)->group\\(\\)->actionType\\(\\)";
const std::string kLastMember = "actionProfileSm->group\\( kelGroup\\(\\)->groupId\\(\\) "
                                "\\)->members\\(\\) > 0 && \"deleting the last member is not "
                                "allowed\"";

TEST_F(GroupMembersDeathTest, MustHaveTheirMemberHandleWhenTheyJoin) {
    EXPECT_EXIT(join(9), KilledBySignal(SIGABRT),
                failedAssertion("handleMemberAdd", kMemberHandle));
}

TEST_F(GroupMembersDeathTest, MustHaveTheGroupsHandleWhenTheyJoin) {
    helper->sdkHandles()->groupDel(RuxGroupId(10));
    EXPECT_EXIT(join(2), KilledBySignal(SIGABRT), failedAssertion("handleMemberAdd", kGroupHandle));
}

TEST_F(GroupMembersDeathTest, WithoutEitherHandleMeetTheMembersAssertionFirst) {
    helper->sdkHandles()->groupDel(RuxGroupId(10));
    EXPECT_EXIT(join(9), KilledBySignal(SIGABRT),
                failedAssertion("handleMemberAdd", kMemberHandle));
}

TEST_F(GroupMembersDeathTest, WithoutAHandleLeavingAsTheLastMeetTheHandlesAssertionFirst) {
    helper->sdkHandles()->memberDel(RuxMemberId(1));
    EXPECT_EXIT(leave(1), KilledBySignal(SIGABRT),
                failedAssertion("handleMemberDel", kMemberHandle));
}

TEST_F(GroupMembersDeathTest, MustHaveAMemberReactorWhenTheyJoin) {
    memberHandleIs(9, 90); // a handle alone, as a restart leaves it
    EXPECT_EXIT(join(9), KilledBySignal(SIGABRT), failedAssertion("handleMemberAdd", "tap"));
}

TEST_F(GroupMembersDeathTest, MustCarryTheGroupsActionType) {
    entry(2)->actionIs(action<SetPhysicalPortActionProfileSpec>());
    EXPECT_EXIT(join(2), KilledBySignal(SIGABRT), failedAssertion("handleMemberAdd", kActionType));
}

TEST_F(GroupMembersDeathTest, MustCarryAnAction) {
    entry(2)->actionIs(nullptr);
    EXPECT_EXIT(join(2), KilledBySignal(SIGABRT), failedAssertion("handleMemberAdd", kActionType));
}

TEST_F(GroupMembersDeathTest, WhichAreInitialMustExistBeforeTheGroup) {
    EXPECT_EXIT(profile->groupIs(RuxGroupId(11), 8, 9, kSetLagPort), KilledBySignal(SIGABRT),
                failedAssertion("handleMemberAdd", kMemberHandle));
}

TEST_F(GroupMembersDeathTest, MayNotLeaveALiveGroupAsTheLast) {
    EXPECT_EXIT(leave(1), KilledBySignal(SIGABRT), failedAssertion("handleMemberDel", kLastMember));
}

TEST_F(GroupMembersDeathTest, MustHaveTheirMemberHandleWhenTheyLeave) {
    join(2);
    helper->sdkHandles()->memberDel(RuxMemberId(2));
    EXPECT_EXIT(leave(2), KilledBySignal(SIGABRT),
                failedAssertion("handleMemberDel", kMemberHandle));
}

TEST_F(GroupMembersDeathTest, MustHaveBothHandlesWhenTheirStateChanges) {
    const U32 memberHandleOfOne = memberHandle(1);
    helper->sdkHandles()->memberDel(RuxMemberId(1));
    EXPECT_EXIT(member(1)->activeIs(false), KilledBySignal(SIGABRT),
                failedAssertion("handleActive", kMemberHandle));
    memberHandleIs(1, memberHandleOfOne);
    helper->sdkHandles()->groupDel(RuxGroupId(10));
    EXPECT_EXIT(member(1)->activeIs(false), KilledBySignal(SIGABRT),
                failedAssertion("handleActive", kGroupHandle));
}

} // namespace
} // namespace sm_test
