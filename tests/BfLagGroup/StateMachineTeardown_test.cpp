// How reactors are marked for deletion, and how a state machine is taken down.
#include <vector>

#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/StateMachineFixture.h"

namespace sm_test {
namespace {

using testing::KilledBySignal;

using ZombiePass = RunningStateMachineTest;
using Teardown = RunningStateMachineTest;
using TeardownDeathTest = RunningStateMachineTest;

constexpr const char* kMemberHandleIsGone =
    "KelGroupMember::handleMemberDel\\(\\): Assertion `actionProfileSm->helper\\(\\)->"
    "sdkHandles\\(\\)->member\\( groupMember\\(\\)->memberId\\(\\) \\)' failed\\.";

TEST_F(ZombiePass, MarksEveryReactorAndThenTheStateMachine) {
    haveEntry(1);
    haveEntry(2);
    sm->kelDoZombieReactors(true);
    EXPECT_TRUE(sm->kelMarkedForDeletion());
    EXPECT_TRUE(memberReactor(1)->kelMarkedForDeletion());
    EXPECT_TRUE(memberReactor(2)->kelMarkedForDeletion());
    EXPECT_FALSE(memberReactor(1)->hasNotificationActive());
    EXPECT_THAT(pd.calls(), testing::UnorderedElementsAre(delMember(1), delMember(2)));
    addEntry(3, lagPort(5)); // the top reactor is no longer told
    EXPECT_EQ(pd.calls().size(), 2u);
    sm->kelDoZombieReactors(true); // marked already
    EXPECT_EQ(pd.calls().size(), 2u);
}

TEST_F(ZombiePass, TakesAReactorThatIsMadeWhileItsStateMachineIsDying) {
    sm->kelDoZombieReactors(true);
    const auto reactor = sm->actionProfileIs(entryOf(4, lagPort(5)));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(4), anonKey(4), addLagPort(5), adtStatus(4), delMember(1)));
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_EQ(memberHandle(4), 0u);
}

TEST_F(ZombiePass, TakesAGroupReactorThatIsMadeWhileItsStateMachineIsDying) {
    haveEntry(1);
    sm->hasNotificationActiveIs(false);
    const auto lag = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    sm->kelDoZombieReactors(true);
    memberHandleIs(1, 31);
    const auto reactor = sm->groupIs(lag);
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    EXPECT_TRUE(reactor->groupMember(RuxMemberId(1))->kelMarkedForDeletion());
    EXPECT_EQ(pd.count(pdName("create_group")), 1u);
    EXPECT_EQ(pd.count(pdName("del_group")), 1u);
    EXPECT_EQ(groupHandle(10), 0u);
}

TEST_F(ZombiePass, RetargetsAMarkedReactorWithoutAnyCall) {
    haveEntry(1);
    sm->kelDoZombieReactors(true);
    journal.clear();
    const auto next = entryOf(1, lagPort(9));
    sm->actionProfileIs(next);
    EXPECT_EQ(memberReactor(1)->actionProfile(), next);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(ZombiePass, ThatFailsLeavesTheReactorUnmarked) {
    haveEntry(1);
    const auto reactor = memberReactor(1);
    pd.failNext(pdName("del_member").c_str(), 16);
    EXPECT_THROW(reactor->kelDoZombieReactors(true), BfTable::BfTableException);
    EXPECT_FALSE(reactor->kelMarkedForDeletion());
    EXPECT_EQ(memberHandle(1), 1u);
    EXPECT_EQ(memberReactor(1), reactor);
    EXPECT_THAT(pd.calls(), ElementsAre(delMember(1)));
}

TEST_F(ZombiePass, OfTheStateMachineThatFailsLeavesItUnmarked) {
    haveEntry(1);
    pd.failNext(pdName("del_member").c_str(), 16);
    EXPECT_THROW(sm->kelDoZombieReactors(true), BfTable::BfTableException);
    EXPECT_FALSE(sm->kelMarkedForDeletion());
}

template <class Reactor, class Owner>
bool isOnAfterThePass(Owner* owner) {
    const typename Reactor::Ptr reactor = new Reactor(nullptr, owner); // with nothing to follow
    reactor->hasNotificationActiveIs(true);
    reactor->kelDoZombieReactors(true);
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    return reactor->hasNotificationActive();
}

TEST_F(ZombiePass, SwitchesMembersAndTheTopReactorOffOnlyWhenTheyFollowSomething) {
    EXPECT_TRUE(isOnAfterThePass<Sm::KelActionProfile>(static_cast<Sm*>(nullptr)));
    EXPECT_TRUE(isOnAfterThePass<Sm::KelLagGroupActionProfile>(static_cast<Sm*>(nullptr)));
    EXPECT_FALSE(isOnAfterThePass<Sm::KelGroup>(static_cast<Sm*>(nullptr)));
    EXPECT_FALSE(
        isOnAfterThePass<Sm::KelGroup::KelGroupMember>(static_cast<Sm::KelGroup*>(nullptr)));
}

TEST_F(Teardown, DeletesTheMembersFromTheHardware) {
    for (U32 memberId : {1, 2, 3}) {
        haveEntry(memberId);
    }
    sm = nullptr;
    EXPECT_THAT(pd.calls(),
                testing::UnorderedElementsAre(delMember(1), delMember(2), delMember(3)));
    EXPECT_EQ(helper->sdkHandles()->member().size(), 0u);
    EXPECT_EQ(profile->notifieeList()->size(), 0u);
    EXPECT_EQ(profile->entry().size(), 3u);
    for (const char* reactor :
         {"LagGroupActionProfileSm", "KelLagGroupActionProfile", "KelActionProfile"}) {
        EXPECT_EQ(live.growth().count(reactor), 0u) << reactor;
    }
    entry(1)->actionIs(lagPort(5));
    EXPECT_EQ(pd.calls().size(), 3u);
}

TEST_F(Teardown, AfterTheGroupsAreDeletedFromTheModelIsSafe) {
    haveEntry(1);
    haveGroup(10);
    profile->groupDelAll();
    sm = nullptr;
    EXPECT_THAT(journal.take(), ElementsAre(groupStatus(10), groupStatus(10), delGroup(2),
                                            groupStatus(10), adtStatus(1), delMember(1)));
    EXPECT_EQ(live.growth().count("KelGroup"), 0u);
    EXPECT_EQ(live.growth().count("KelGroupMember"), 0u);
}

TEST_F(Teardown, DeletesMembersBeforeGroups) {
    // A group whose initial member was refused has no member reactor that could object.
    haveEntry(1);
    pd.failNext(pdName("add_member_to_group").c_str(), 6);
    EXPECT_THROW(profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort), BfTable::BfTableException);
    journal.clear();
    sm = nullptr;
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), delMember(1), groupStatus(10), delGroup(2)));
    EXPECT_EQ(helper->sdkHandles()->group().size(), 0u);
}

TEST_F(Teardown, DetachesReactorsThatOthersStillHold) {
    haveEntry(1);
    const auto reactor = memberReactor(1);
    sm = nullptr;
    EXPECT_EQ(reactor->lagGroupActionProfileSm(), nullptr);
    EXPECT_TRUE(reactor->kelMarkedForDeletion());
    journal.clear();
    reactor->hasNotificationActiveIs(true);
    entry(1)->actionIs(lagPort(5));
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(Teardown, MayFollowAfterTheModelHasBeenTakenAway) {
    haveEntry(1);
    sm->lagGroupActionProfileDel();
    profile = nullptr;
    sm = nullptr;
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), delMember(1)));
}

TEST_F(Teardown, OfAMemberReactorByItsOwnDestructorDeletesTheMember) {
    Kel::Ptr<Sm::KelActionProfile> reactor =
        new Sm::KelActionProfile(entryOf(4, lagPort(5)), sm.ptr());
    journal.clear();
    reactor = nullptr;
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(4), delMember(1)));
    EXPECT_EQ(memberHandle(4), 0u);
}

TEST_F(Teardown, OfAGroupReactorByItsOwnDestructorDeletesTheGroup) {
    haveEntry(1);
    sm->hasNotificationActiveIs(false);
    const auto lag = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    Kel::Ptr<Sm::KelGroup> reactor = new Sm::KelGroup(lag, sm.ptr());
    reactor->followGroup();
    journal.clear();
    reactor = nullptr;
    EXPECT_THAT(journal.take(),
                ElementsAre(groupStatus(10), groupStatus(10), delGroup(2), groupStatus(10)));
    EXPECT_EQ(live.growth().count("KelGroupMember"), 0u);
}

TEST_F(TeardownDeathTest, WithGroupsThatHoldMembersMeetsTheMemberHandleAssertion) {
    haveEntry(1);
    haveGroup(10);
    EXPECT_EXIT(sm = nullptr, KilledBySignal(SIGABRT), kMemberHandleIsGone);
}

TEST_F(TeardownDeathTest, ThatTheChipRefusesEndsTheProcess) {
    haveEntry(1);
    pd.failAlways(pdName("del_member").c_str(), 16);
    EXPECT_EXIT(sm = nullptr, KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(TeardownDeathTest, OfAReactorByItsOwnDestructorThatFailsEndsTheProcess) {
    Kel::Ptr<Sm::KelActionProfile> reactor =
        new Sm::KelActionProfile(entryOf(4, lagPort(5)), sm.ptr());
    pd.failAlways(pdName("del_member").c_str(), 16);
    EXPECT_EXIT(reactor = nullptr, KilledBySignal(SIGABRT), "terminate called");
    pd.succeed(pdName("del_member").c_str());
}

TEST_F(TeardownDeathTest, OfAGroupReactorByItsOwnDestructorThatFailsEndsTheProcess) {
    haveEntry(1);
    sm->hasNotificationActiveIs(false);
    const auto lag = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    Kel::Ptr<Sm::KelGroup> reactor = new Sm::KelGroup(lag, sm.ptr());
    pd.failAlways(pdName("del_group").c_str(), 6);
    EXPECT_EXIT(reactor = nullptr, KilledBySignal(SIGABRT), "terminate called");
    pd.succeed(pdName("del_group").c_str());
}

} // namespace
} // namespace sm_test
