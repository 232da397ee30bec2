// Others follow the same objects as the state machine, and change the model while they are told.
#include <functional>
#include <optional>
#include <stdexcept>

#include "tests/BfLagGroup/StateMachineFixture.h"

namespace sm_test {
namespace {

using testing::UnorderedElementsAre;

/// Calls a function when the attribute changes, not for changes that the function makes itself.
class Reaction : public Kel::PtrInterface::NotifieeConst {
  public:
    template <class Object>
    Reaction(const Object& object, Kel::AttributeId id, std::function<void()> react)
        : id_(id), react_(std::move(react)) {
        notifierIs(&*object);
        hasNotificationActiveIs(true);
    }

    void onAttribute(Kel::AttributeId id, const void*) override {
        if (id == id_ && !isReacting_) {
            isReacting_ = true;
            react_();
            isReacting_ = false;
        }
    }

  private:
    Kel::AttributeId id_;
    std::function<void()> react_;
    bool isReacting_ = false;
};

constexpr auto kEntries = LagGroupActionProfile::kEntry;
constexpr auto kGroups = LagGroupActionProfile::kGroup;
constexpr auto kMembers = LagGroupGroup::kMember;
constexpr auto kAction = LagGroupActionProfileEntry::kAction;

using OthersBeforeTheStateMachine = StateMachineTest;
using OthersAfterTheStateMachine = RunningStateMachineTest;
using OthersDeathTest = RunningStateMachineTest;

TEST_F(OthersBeforeTheStateMachine, MayTakeAnEntryAwayBeforeItIsProgrammed) {
    const Reaction reaction(profile, kEntries, [&] { profile->entryDel(RuxMemberId(1)); });
    start();
    addEntry(1, lagPort(5));
    EXPECT_FALSE(entry(1));
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(OthersBeforeTheStateMachine, MayReplaceAnEntryBeforeItIsProgrammed) {
    const Reaction reaction(profile, kEntries, [&] { addEntry(1, lagPort(6)); });
    start();
    addEntry(1, lagPort(5));
    EXPECT_EQ(memberReactor(1)->actionProfile(), entry(1));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), anonKey(1), addLagPort(6)));
}

TEST_F(OthersBeforeTheStateMachine, MayDeleteTheEntryWhoseActionChanges) {
    addEntry(1, lagPort(5));
    const Reaction reaction(entry(1), kAction, [&] { profile->entryDel(RuxMemberId(1)); });
    start();
    journal.clear();
    entry(1)->actionIs(lagPort(6));
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), delMember(1, kSmSession)));
    EXPECT_EQ(live.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(OthersBeforeTheStateMachine, MayTakeAGroupAwayBeforeItIsProgrammed) {
    addEntry(1, lagPort(5));
    const Reaction reaction(profile, kGroups, [&] { profile->groupDelAll(); });
    start();
    journal.clear();
    const auto made = profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_EQ(made->members(), 0u);
    EXPECT_EQ(sm->group().size(), 0u);
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(OthersBeforeTheStateMachine, MayChangeTheModelWhileItIsWalkedAtTheStart) {
    for (U32 memberId = 1; memberId <= 8; ++memberId) {
        addEntry(memberId, lagPort(static_cast<U16>(memberId)));
    }
    U32 next = 9;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        if (next < 40) {
            addEntry(next, lagPort(static_cast<U16>(next)));
            profile->entryDel(RuxMemberId(next - 1 > 8 ? next - 1 : 0));
            ++next;
        }
    });
    start();
    EXPECT_EQ(sm->actionProfile().size(), profile->entry().size());
    for (const auto& followed : profile->entry()) {
        ASSERT_TRUE(sm->actionProfile(followed->memberId()));
        EXPECT_EQ(sm->actionProfile(followed->memberId())->actionProfile(), followed);
    }
}

/// Finds the state machine as an agent does, and takes its profile away.
void takeAwayTheProfile(const LagGroupActionProfile& profile) {
    topReactorOf(profile)->lagGroupActionProfileSm()->lagGroupActionProfileDel();
}

TEST_F(OthersBeforeTheStateMachine, MayEndTheProfileWhileItIsWalkedAtTheStart) {
    for (U32 memberId : {1, 2, 3}) {
        addEntry(memberId, lagPort(5));
    }
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        if (profile) {
            takeAwayTheProfile(*profile);
            profile = nullptr;
        }
    });
    start();
    EXPECT_FALSE(sm->lagGroupActionProfile());
    EXPECT_EQ(live.growth().count("LagGroupActionProfile"), 0u);
    EXPECT_EQ(sm->actionProfile().size(), 3u);
    EXPECT_EQ(pd.calls().size(), 3u);
}

TEST_F(OthersBeforeTheStateMachine, MayTakeTheProfileAwayFromAStartThatTheChipThenRefuses) {
    addEntry(1, lagPort(5));
    addEntry(2, lagPort(5));
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember,
                            [&] { takeAwayTheProfile(*profile); });
    pd.failNth(pdName("add_member_with_setLagPort").c_str(), 2, 9);
    EXPECT_ANY_THROW(start());
    EXPECT_FALSE(sm);
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    EXPECT_EQ(pd.calls().size(), 2u);
}

TEST_F(OthersBeforeTheStateMachine, MayTakeTheProfileAwayWhileItsGroupGetsItsInitialMember) {
    std::int64_t topReactors = 0;
    std::optional<Reaction> onGroup;
    const Reaction onProfile(profile, kGroups, [&] {
        onGroup.emplace(group(10), kMembers, [&] {
            sm->lagGroupActionProfileDel();
            topReactors = live.growth()["KelLagGroupActionProfile"];
        });
    });
    start();
    haveEntry(1);
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_EQ(topReactors, 1) << "it is gone while it is still at work";
    EXPECT_EQ(live.growth().count("KelLagGroupActionProfile"), 0u);
    EXPECT_THAT(pd.calls(), ElementsAre(createGroup(8), joinGroup(2, 1)));
}

TEST_F(OthersAfterTheStateMachine, MayDeleteAnEntryRightAfterItWasProgrammed) {
    const Reaction reaction(profile, kEntries, [&] { profile->entryDel(RuxMemberId(1)); });
    addEntry(1, lagPort(5));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), anonKey(1), addLagPort(5), adtStatus(1), delMember(1)));
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(live.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayDeleteOrReplaceTheEntryWhoseActionChanges) {
    haveEntry(1);
    {
        const Reaction reaction(entry(1), kAction, [&] { addEntry(1, lagPort(7)); });
        entry(1)->actionIs(lagPort(6));
    }
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), modifyLagPort(1, 6), adtStatus(1), modifyLagPort(1, 7)));
    const Reaction reaction(entry(1), kAction, [&] { profile->entryDel(RuxMemberId(1)); });
    entry(1)->actionIs(lagPort(8));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), modifyLagPort(1, 8), adtStatus(1), delMember(1)));
    EXPECT_EQ(live.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayDeleteTheEntryWhoseNewHandleIsAnnounced) {
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember,
                            [&] { profile->entryDel(RuxMemberId(1)); });
    addEntry(1, lagPort(5));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), delMember(1)));
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(memberHandle(1), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayReplaceTheEntryWhoseNewHandleIsAnnounced) {
    {
        const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember,
                                [&] { addEntry(1, lagPort(6)); });
        addEntry(1, lagPort(5));
    }
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), modifyLagPort(1, 6)));
    EXPECT_EQ(sm->actionProfile().size(), 1u);
    EXPECT_EQ(memberReactor(1)->actionProfile(), entry(1));
    profile->entryDel(RuxMemberId(1));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), modifyLagPort(1, 6), delMember(1)));
}

TEST_F(OthersAfterTheStateMachine, MayTakeAndDropAReferenceToAReactorThatIsBeingMade) {
    const LagGroupActionProfileEntry::Ptr made = entryOf(1, lagPort(5));
    U32 found = 0;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        made->notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
            const Kel::Ptr<Kel::PtrInterface::NotifieeConst> passing(&notifiee);
            ++found;
        });
    });
    profile->entryIs(made);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(memberReactor(1)->actionProfile(), made);
}

TEST_F(OthersAfterTheStateMachine, MayDropTheProfileWhileItDeletesAll) {
    LagGroupActionProfile::Ptr other = newProfile();
    for (U32 id : {1u, 2u, 3u}) {
        other->entryIs(entryOf(id, lagPort(5)));
    }
    const Reaction reaction(other, kEntries, [&] { other = nullptr; });
    other->entryDelAll();
    EXPECT_FALSE(other);
    EXPECT_EQ(live.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayChangeTheSameActionAgain) {
    haveEntry(1);
    const Reaction reaction(entry(1), kAction, [&] { entry(1)->actionIs(lagPort(7)); });
    entry(1)->actionIs(lagPort(6));
    EXPECT_THAT(pd.calls(), ElementsAre(modifyLagPort(1, 6), modifyLagPort(1, 7)));
    EXPECT_EQ(entry(1)->action()->egrL2AintfPort(), 7u);
}

TEST_F(OthersAfterTheStateMachine, MayDeleteAGroupRightAfterItWasMade) {
    haveEntry(1);
    const Reaction reaction(profile, kGroups, [&] { profile->groupDel(RuxGroupId(10)); });
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_THAT(pd.calls(), ElementsAre(createGroup(8), joinGroup(2, 1), delGroup(2)));
    EXPECT_EQ(live.growth().count("LagGroupGroup"), 0u);
    EXPECT_EQ(live.growth().count("KelGroup"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayDeleteTheGroupWhoseMembersOrStatesChange) {
    haveEntry(1);
    haveEntry(2);
    {
        const Reaction reaction(haveGroup(10), kMembers,
                                [&] { profile->groupDel(RuxGroupId(10)); });
        group(10)->memberIs(RuxMemberId(2));
    }
    EXPECT_THAT(pd.calls(), ElementsAre(joinGroup(3, 2), delGroup(3)));
    EXPECT_EQ(live.growth().count("LagGroupGroup"), 0u);

    const auto member = haveGroup(11, {2})->member(RuxMemberId(2));
    const Reaction reaction(member, LagGroupMember::kActive,
                            [&] { profile->groupDel(RuxGroupId(11)); });
    member->activeIs(false);
    EXPECT_THAT(pd.calls(), ElementsAre(stateSet(4, 2, 1), delGroup(4)));
    EXPECT_EQ(live.growth().count("LagGroupGroup"), 0u);
    EXPECT_EQ(live.growth().count("KelGroupMember"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayPutTheMemberOutWhoseStateChanges) {
    haveEntry(1);
    haveEntry(2);
    haveGroup(10, {2});
    const Reaction reaction(group(10)->member(RuxMemberId(2)), LagGroupMember::kActive,
                            [&] { group(10)->memberDel(RuxMemberId(2)); });
    group(10)->member(RuxMemberId(2))->activeIs(false);
    EXPECT_THAT(pd.calls(), ElementsAre(stateSet(3, 2, 1), leaveGroup(3, 2)));
    EXPECT_EQ(live.growth()["LagGroupMember"], 1);
}

TEST_F(OthersAfterTheStateMachine, MayAddMembersAsSoonAsTheGroupHasItsHandle) {
    haveEntry(1);
    haveEntry(2);
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup,
                            [&] { group(10)->memberIs(RuxMemberId(2)); });
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_EQ(pd.calls().at(0), createGroup(8));
    EXPECT_THAT(pd.calls(), UnorderedElementsAre(createGroup(8), joinGroup(3, 1), joinGroup(3, 2)));
    EXPECT_TRUE(joinedReactor(10, 1));
    EXPECT_TRUE(joinedReactor(10, 2));
}

TEST_F(OthersAfterTheStateMachine, MayMakeAMemberAgainAsSoonAsItsHandleIsGone) {
    haveEntry(1);
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember,
                            [&] { addEntry(1, lagPort(9)); });
    profile->entryDel(RuxMemberId(1));
    EXPECT_THAT(journal.take(),
                ElementsAre(adtStatus(1), delMember(1), adtStatus(1), anonKey(1), addLagPort(9)));
    ASSERT_TRUE(memberReactor(1));
    EXPECT_EQ(memberReactor(1)->actionProfile(), entry(1));
    EXPECT_EQ(memberHandle(1), 2u);
}

TEST_F(OthersAfterTheStateMachine, MayReplaceTheGroupWhoseNewHandleIsAnnounced) {
    haveEntry(1);
    haveEntry(2);
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup, [&] {
        profile->groupDel(RuxGroupId(10));
        profile->groupIs(RuxGroupId(10), 4, 2, kSetLagPort);
    });
    profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort);
    EXPECT_THAT(pd.calls(),
                ElementsAre(createGroup(8), createGroup(4), joinGroup(4, 2), delGroup(3)));
    EXPECT_EQ(groupReactor(10)->group(), group(10));
    EXPECT_EQ(group(10)->members(), 1u);
    EXPECT_EQ(groupHandle(10), 4u);
}

TEST_F(OthersAfterTheStateMachine, MayMakeAGroupAgainAsSoonAsItsHandleIsGone) {
    haveEntry(1);
    haveEntry(2);
    haveGroup(10, {2});
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup, [&] {
        profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort)->memberIs(RuxMemberId(2));
    });
    profile->groupDel(RuxGroupId(10));
    EXPECT_THAT(pd.calls(),
                ElementsAre(delGroup(3), createGroup(8), joinGroup(4, 1), joinGroup(4, 2)));
    EXPECT_EQ(groupReactor(10)->group(), group(10));
    EXPECT_TRUE(joinedReactor(10, 1));
    EXPECT_TRUE(joinedReactor(10, 2));
}

TEST_F(OthersAfterTheStateMachine, MayDeleteOtherEntriesWhileAllAreDeleted) {
    for (U32 memberId = 1; memberId <= 12; ++memberId) {
        haveEntry(memberId);
    }
    const Reaction reaction(profile, kEntries, [&] {
        profile->entryDel(RuxMemberId(3));
        profile->entryDel(RuxMemberId(11));
    });
    profile->entryDelAll();
    EXPECT_EQ(sm->actionProfile().size(), 0u);
    EXPECT_EQ(pd.count(pdName("del_member")), 12u);
    EXPECT_EQ(live.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(OthersAfterTheStateMachine, MayTakeTheProfileAwayWhileItsEntryIsProgrammed) {
    std::int64_t topReactors = 0;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        sm->lagGroupActionProfileDel();
        topReactors = live.growth()["KelLagGroupActionProfile"];
    });
    addEntry(1, lagPort(5));
    EXPECT_EQ(topReactors, 1) << "it is gone while it is still at work";
    EXPECT_EQ(live.growth().count("KelLagGroupActionProfile"), 0u);
    addEntry(2, lagPort(5));
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5)));
}

TEST_F(OthersAfterTheStateMachine, MayEndTheProfileWhileItsEntryIsProgrammed) {
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        sm->lagGroupActionProfileDel();
        profile = nullptr;
    });
    addEntry(1, lagPort(5));
    EXPECT_EQ(live.growth().count("LagGroupActionProfile"), 0u);
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5)));
}

TEST_F(OthersAfterTheStateMachine, MayLetGoOfTheStateMachineWhileAnEntryIsProgrammed) {
    std::int64_t stateMachines = 0;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        sm = nullptr;
        stateMachines = live.growth()["LagGroupActionProfileSm"];
    });
    addEntry(1, lagPort(5));
    EXPECT_EQ(stateMachines, 1) << "it is gone while it is still at work";
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    EXPECT_THAT(pd.calls(), ElementsAre(addLagPort(5), delMember(1)));
}

/// A model with two entries that the state machine does not follow yet.
LagGroupActionProfile::Ptr anotherProfile() {
    auto other = newProfile();
    other->entryIs(entryOf(1, lagPort(5)));
    other->entryIs(entryOf(2, lagPort(5)));
    return other;
}

TEST_F(OthersAfterTheStateMachine, MayTakeAProfileAwayWhileItIsTakenUp) {
    const auto other = anotherProfile();
    std::int64_t topReactors = 0;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
        if (sm->lagGroupActionProfileDel()) {
            topReactors = live.growth()["KelLagGroupActionProfile"];
        }
    });
    auto* const top = topReactorOf(*profile).ptr();
    top->notifierIs(Kel::PtrInterface::PtrConst(other));
    EXPECT_EQ(topReactors, 1) << "it is gone while it is still at work";
    EXPECT_EQ(live.growth().count("KelLagGroupActionProfile"), 0u);
    EXPECT_EQ(pd.calls().size(), 2u);
}

TEST_F(OthersAfterTheStateMachine, MayLetGoOfTheStateMachineWhileItTakesUpAProfile) {
    const auto other = anotherProfile();
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember,
                            [&] { sm = nullptr; });
    auto* const top = topReactorOf(*profile).ptr();
    top->notifierIs(Kel::PtrInterface::PtrConst(other));
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    ASSERT_EQ(pd.calls().size(), 4u); // both are added before both are deleted
    EXPECT_EQ(pd.calls().at(1), addLagPort(5));
}

TEST_F(OthersAfterTheStateMachine, MayLetGoOfTheStateMachineWhileAGroupIsDeleted) {
    haveEntry(1);
    haveGroup(10);
    std::int64_t stateMachines = 0;
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup, [&] {
        sm = nullptr;
        stateMachines = live.growth()["LagGroupActionProfileSm"];
    });
    profile->groupDel(RuxGroupId(10));
    EXPECT_EQ(stateMachines, 1) << "it is gone while it is still at work";
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    EXPECT_THAT(pd.calls(), ElementsAre(delGroup(2), delMember(1)));
}

TEST_F(OthersAfterTheStateMachine, MayLetGoOfTheStateMachineWhileItDeletesAll) {
    const std::function<void(Sm&)> deletions[] = {
        [](Sm& dying) { dying.actionProfileDelAll(); },
        [](Sm& dying) { dying.kelDoZombieReactors(true); },
    };
    for (const auto& deleteAll : deletions) {
        haveEntry(1);
        haveEntry(2);
        const U32 handles[] = {memberHandle(1), memberHandle(2)};
        std::int64_t stateMachines = 0;
        const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kMember, [&] {
            sm = nullptr;
            stateMachines += live.growth()["LagGroupActionProfileSm"];
        });
        deleteAll(*sm);
        EXPECT_EQ(stateMachines, 2) << "once for each member";
        EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
        EXPECT_THAT(pd.takeCalls(),
                    UnorderedElementsAre(delMember(handles[0]), delMember(handles[1])));
        profile->entryDelAll();
        start();
    }
    haveEntry(1);
    const U32 member = memberHandle(1);
    haveGroup(10);
    haveGroup(11);
    const U32 groups[] = {groupHandle(10), groupHandle(11)};
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup,
                            [&] { sm = nullptr; });
    Sm& dying = *sm;
    dying.groupDelAll();
    EXPECT_EQ(live.growth().count("LagGroupActionProfileSm"), 0u);
    EXPECT_THAT(pd.calls(),
                UnorderedElementsAre(delGroup(groups[0]), delGroup(groups[1]), delMember(member)));
}

TEST_F(OthersDeathTest, LetTheStateMachineEndWithAFullGroupWhenTheyLetGoWhileThatIsMade) {
    haveEntry(1);
    const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup,
                            [&] { sm = nullptr; });
    EXPECT_EXIT(profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort),
                testing::KilledBySignal(SIGABRT),
                "KelGroupMember::handleMemberDel\\(\\): Assertion `actionProfileSm->helper\\(\\)->"
                "sdkHandles\\(\\)->member\\(");
}

TEST_F(OthersDeathTest, MayNotTakeAwayTheGroupOrTheProfileWhileTheGroupsHandleIsAnnounced) {
    haveEntry(1);
    const std::pair<std::function<void()>, const char*> removals[] = {
        {[&] { profile->groupDel(RuxGroupId(10)); },
         "`lagGroupActionProfileSm\\(\\)->lagGroupActionProfile\\(\\)->group\\( groupId\\(\\) "
         "\\)'"},
        {[&] { sm->lagGroupActionProfileDel(); },
         "`lagGroupActionProfileSm\\(\\)->lagGroupActionProfile\\(\\)'"},
    };
    for (const auto& [remove, text] : removals) {
        const Reaction reaction(helper->sdkHandles(), LagGroupTableHandles::kGroup, remove);
        EXPECT_EXIT(profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort),
                    testing::KilledBySignal(SIGABRT),
                    std::string("handleGroupAdd\\(\\): Assertion ") + text + " failed\\.");
    }
}

TEST_F(OthersAfterTheStateMachine, MayThrowWhenTheHardwareHasFollowed) {
    const Reaction reaction(profile, kEntries, [] { throw std::runtime_error("of the agent"); });
    EXPECT_THROW(addEntry(1, lagPort(5)), std::runtime_error);
    EXPECT_THAT(journal.take(), ElementsAre(adtStatus(1), anonKey(1), addLagPort(5)));
    EXPECT_TRUE(memberReactor(1));
    EXPECT_EQ(memberHandle(1), 1u);
}

TEST_F(OthersAfterTheStateMachine, AreNotToldWhenTheChipRefuses) {
    bool isTold = false;
    const Reaction reaction(profile, kEntries, [&] { isTold = true; });
    pd.failNext(pdName("add_member_with_setLagPort").c_str(), 9);
    EXPECT_ANY_THROW(addEntry(1, lagPort(5)));
    EXPECT_FALSE(isTold);
    EXPECT_TRUE(entry(1));
}

} // namespace
} // namespace sm_test
