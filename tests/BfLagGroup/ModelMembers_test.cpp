#include "tests/BfLagGroup/ModelFixture.h"

using namespace model_test;

namespace {

struct ModelMembers : Model {
    LagGroupGroup::Ptr group = newGroup(10);
};

TEST_F(ModelMembers, AreMadeActiveAndAnnouncedOnceOnTheGroupAlone) {
    const Follower profileFollower(profile);
    const Follower follower(group);
    const auto member = group->memberIs(RuxMemberId(3));
    EXPECT_EQ(member->memberId(), RuxMemberId(3));
    EXPECT_TRUE(member->active());
    EXPECT_EQ(group->member(RuxMemberId(3)), member);
    EXPECT_EQ(group->members(), 1u);
    EXPECT_EQ(member->kelReferenceCount(), 2u); // the test's and the collection's
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{262, 3}));
    EXPECT_THAT(profileFollower.notices(), IsEmpty());
}

TEST_F(ModelMembers, HaveTheGroupAsParentAndAPathThroughIt) {
    const auto member = group->memberIs(RuxMemberId(3));
    EXPECT_EQ(member->parent(), group);
    EXPECT_EQ(member->parentAttrName(), "member");
    EXPECT_EQ(member->name(), "3");
    EXPECT_EQ(member->fullName(), "lagGroup/group[10]/member[3]");
}

TEST_F(ModelMembers, AreCompleteWhenTheyAreAnnounced) {
    const Reaction reaction(group, [this](Kel::AttributeId, U32 key) {
        const auto member = group->member(RuxMemberId(key));
        ASSERT_NE(member, nullptr);
        EXPECT_TRUE(member->active());
        EXPECT_TRUE(member->hasNotificationActive());
        EXPECT_EQ(member->parent(), group);
    });
    group->memberIs(RuxMemberId(3));
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelMembers, AreReturnedAsTheyAreWhenGivenAgain) {
    const auto member = group->memberIs(RuxMemberId(3));
    member->activeIs(false);
    const Follower follower(group);
    const Follower memberFollower(member);
    EXPECT_EQ(group->memberIs(RuxMemberId(3)), member);
    EXPECT_FALSE(member->active());
    EXPECT_EQ(group->members(), 1u);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_THAT(memberFollower.notices(), IsEmpty());
}

TEST_F(ModelMembers, OfTwoGroupsAreTwoObjects) {
    const auto other = newGroup(11);
    const auto member = group->memberIs(RuxMemberId(3));
    const auto otherMember = other->memberIs(RuxMemberId(3));
    EXPECT_NE(member, otherMember);
    member->activeIs(false);
    EXPECT_TRUE(otherMember->active());
    EXPECT_EQ(otherMember->fullName(), "lagGroup/group[11]/member[3]");
}

TEST_F(ModelMembers, AnnounceEachChangeOfActiveWithoutKeyAndNothingElse) {
    const auto member = group->memberIs(RuxMemberId(3));
    const Follower groupFollower(group);
    Follower follower(member);
    member->activeIs(true);
    EXPECT_THAT(follower.take(), IsEmpty()); // a new member starts active
    member->activeIs(false);
    EXPECT_FALSE(member->active());
    EXPECT_THAT(follower.take(), ElementsAre(Notice{259, std::nullopt}));
    member->activeIs(false);
    EXPECT_THAT(follower.take(), IsEmpty());
    member->activeIs(true);
    EXPECT_TRUE(member->active());
    EXPECT_THAT(follower.take(), ElementsAre(Notice{259, std::nullopt}));
    EXPECT_THAT(groupFollower.notices(), IsEmpty());
}

TEST_F(ModelMembers, AreHandedBackWithoutParentWhenDeletedAndAnnouncedOnce) {
    const auto member = group->memberIs(RuxMemberId(3));
    const Follower follower(group);
    EXPECT_EQ(group->memberDel(RuxMemberId(3)), member);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{262, 3}));
    EXPECT_EQ(group->member(RuxMemberId(3)), nullptr);
    EXPECT_EQ(group->members(), 0u);
    EXPECT_EQ(member->parent(), nullptr);
    EXPECT_EQ(member->fullName(), "3");
    EXPECT_EQ(member->kelReferenceCount(), 1u);
}

TEST_F(ModelMembers, AreOutOfTheGroupAndWithoutParentBeforeTheirDeletionIsTold) {
    const auto member = group->memberIs(RuxMemberId(3));
    const Reaction reaction(group, [&](Kel::AttributeId, U32 key) {
        EXPECT_EQ(group->member(RuxMemberId(key)), nullptr);
        EXPECT_EQ(member->parent(), nullptr);
    });
    group->memberDel(RuxMemberId(3));
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelMembers, StartActiveAgainWhenMadeAnew) {
    group->memberIs(RuxMemberId(3))->activeIs(false);
    group->memberDel(RuxMemberId(3));
    EXPECT_TRUE(group->memberIs(RuxMemberId(3))->active());
}

TEST_F(ModelMembers, AreNotAnnouncedWhenAnUnknownOneIsDeleted) {
    group->memberIs(RuxMemberId(3));
    const Follower follower(group);
    EXPECT_EQ(group->memberDel(RuxMemberId(4)), nullptr);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(group->members(), 1u);
}

TEST_F(ModelMembers, AreEachAnnouncedWhenAllAreDeleted) {
    for (const U32 id : {0u, 5u, 4294967295u}) {
        group->memberIs(RuxMemberId(id));
    }
    Follower follower(group);
    U32 left = 3;
    const Reaction reaction(group,
                            [&](Kel::AttributeId, U32) { EXPECT_EQ(group->members(), --left); });
    group->memberDelAll();
    EXPECT_THAT(follower.take(),
                UnorderedElementsAre(Notice{262, 0}, Notice{262, 5}, Notice{262, 4294967295u}));
    EXPECT_EQ(reaction.told(), 3);
    group->memberDelAll();
    EXPECT_THAT(follower.notices(), IsEmpty());
}

TEST_F(ModelMembers, MayBeMoreThanTheSizeThatTheGroupIsMadeWith) {
    for (U32 id = 0; id < 20; ++id) {
        group->memberIs(RuxMemberId(id));
    }
    EXPECT_EQ(group->groupSize(), 4u);
    EXPECT_EQ(group->members(), 20u);
}

} // namespace
