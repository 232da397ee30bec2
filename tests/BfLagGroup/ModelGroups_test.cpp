#include "tests/BfLagGroup/ModelFixture.h"

using namespace model_test;

namespace {

using ModelGroups = Model;

/// The message with which `groupIs` refuses the four values; empty when it accepts them.
std::string refusal(LagGroupActionProfile& profile, U32 groupId, U32 size, U32 initial, Type type) {
    try {
        profile.groupIs(RuxGroupId(groupId), size, initial, type);
    } catch (const Kel::MutatorReinstantiatingException& e) {
        EXPECT_EQ(e.id(), Kel::Exception::kMutator);
        return e.what();
    }
    return "";
}

TEST_F(ModelGroups, AreMadeWithTheirFourValuesAndAnnouncedOnce) {
    const Follower follower(profile);
    const auto group =
        profile->groupIs(RuxGroupId(10), 4294967295u, 7, Type::setTunnelInfoActionProfileSpec);
    EXPECT_EQ(group->groupId(), RuxGroupId(10));
    EXPECT_EQ(group->groupSize(), 4294967295u);
    EXPECT_EQ(group->initialMemberId(), 7u);
    EXPECT_EQ(group->actionType(), Type::setTunnelInfoActionProfileSpec);
    EXPECT_EQ(group->members(), 0u);
    EXPECT_EQ(profile->group(RuxGroupId(10)), group);
    EXPECT_EQ(profile->group().size(), 1u);
    EXPECT_EQ(group->kelReferenceCount(), 2u); // the test's and the collection's
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 10}));
}

TEST_F(ModelGroups, HaveTheProfileAsParentAndAPathThroughIt) {
    const auto group = newGroup(10);
    EXPECT_EQ(group->parent(), profile);
    EXPECT_EQ(group->parentAttrName(), "group");
    EXPECT_EQ(group->name(), "10");
    EXPECT_EQ(group->fullName(), "lagGroup/group[10]");
    EXPECT_EQ(profile->entity().lookup("group[10]"), group.ptr());
}

TEST_F(ModelGroups, AreCompleteWhenTheyAreAnnounced) {
    const Reaction reaction(profile, [this](Kel::AttributeId, U32 key) {
        const auto group = profile->group(RuxGroupId(key));
        ASSERT_NE(group, nullptr);
        EXPECT_TRUE(group->hasNotificationActive());
        EXPECT_EQ(group->parent(), profile);
        EXPECT_EQ(group->fullName(), "lagGroup/group[10]");
    });
    newGroup(10);
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelGroups, AreReturnedWithoutAnnouncementWhenTheSameIsGivenAgain) {
    const Follower follower(profile);
    const auto group = profile->groupIs(RuxGroupId(10), 4, 1, kSetLagPort);
    EXPECT_EQ(profile->groupIs(RuxGroupId(10), 4, 1, kSetLagPort), group);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 10}));
    EXPECT_EQ(profile->group().size(), 1u);
}

TEST_F(ModelGroups, CannotChangeTheirSize) {
    newGroup(10);
    EXPECT_EQ(refusal(*profile, 10, 8, 1, kSetLagPort),
              "BfLagGroup::LagGroupGroup 'lagGroup/group[10]': cannot change groupSize from 4 to "
              "8");
}

TEST_F(ModelGroups, CannotChangeTheirInitialMember) {
    newGroup(10);
    EXPECT_EQ(refusal(*profile, 10, 4, 4294967295u, kSetLagPort),
              "BfLagGroup::LagGroupGroup 'lagGroup/group[10]': cannot change initialMemberId from "
              "1 to 4294967295");
}

TEST_F(ModelGroups, CannotChangeTheirActionType) {
    newGroup(10);
    EXPECT_EQ(refusal(*profile, 10, 4, 1, Type::setPhysicalPortActionProfileSpec),
              "BfLagGroup::LagGroupGroup 'lagGroup/group[10]': cannot change actionType from "
              "Value('BfLagGroup::LagGroupActionProfileType', 'setLagPortActionProfileSpec') to "
              "Value('BfLagGroup::LagGroupActionProfileType', 'setPhysicalPortActionProfileSpec')");
    EXPECT_EQ(refusal(*profile, 10, 4, 1, static_cast<Type>(7)),
              "BfLagGroup::LagGroupGroup 'lagGroup/group[10]': cannot change actionType from "
              "Value('BfLagGroup::LagGroupActionProfileType', 'setLagPortActionProfileSpec') to "
              "Value('BfLagGroup::LagGroupActionProfileType', 7)");
}

TEST_F(ModelGroups, NameTheFirstOfSeveralDifferences) {
    newGroup(10);
    const auto attributeInError = [this](U32 size, U32 initial, Type type) {
        const std::string message = refusal(*profile, 10, size, initial, type);
        const auto from = message.find("change ") + 7;
        return message.substr(from, message.find(' ', from) - from);
    };
    constexpr Type kOther = Type::fixL2SubintfAlignmentActionProfileSpec;
    EXPECT_EQ(attributeInError(5, 2, kOther), "groupSize");
    EXPECT_EQ(attributeInError(5, 1, kOther), "groupSize");
    EXPECT_EQ(attributeInError(5, 2, kSetLagPort), "groupSize");
    EXPECT_EQ(attributeInError(4, 2, kOther), "initialMemberId");
    EXPECT_EQ(attributeInError(4, 1, kOther), "actionType");
}

TEST_F(ModelGroups, StayAsTheyWereAfterARefusal) {
    const auto group = newGroup(10);
    const auto member = group->memberIs(RuxMemberId(3));
    const Follower follower(profile);
    const Follower groupFollower(group);
    EXPECT_NE(refusal(*profile, 10, 5, 2, Type::setTunnelInfoActionProfileSpec), "");
    EXPECT_NE(refusal(*profile, 10, 4, 2, kSetLagPort), "");
    EXPECT_NE(refusal(*profile, 10, 4, 1, Type::setTunnelInfoActionProfileSpec), "");
    EXPECT_EQ(profile->group(RuxGroupId(10)), group);
    EXPECT_EQ(profile->group().size(), 1u);
    EXPECT_EQ(group->groupSize(), 4u);
    EXPECT_EQ(group->initialMemberId(), 1u);
    EXPECT_EQ(group->actionType(), kSetLagPort);
    EXPECT_EQ(group->member(RuxMemberId(3)), member);
    EXPECT_EQ(group->kelReferenceCount(), 2u);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_THAT(groupFollower.notices(), IsEmpty());
}

TEST_F(ModelGroups, CanBeMadeWithOtherValuesAfterTheirDeletion) {
    const auto old = newGroup(10);
    profile->groupDel(RuxGroupId(10));
    const auto next =
        profile->groupIs(RuxGroupId(10), 8, 2, Type::setPhysicalPortActionProfileSpec);
    EXPECT_NE(next, old);
    EXPECT_EQ(next->groupSize(), 8u);
    EXPECT_EQ(next->initialMemberId(), 2u);
    EXPECT_EQ(next->actionType(), Type::setPhysicalPortActionProfileSpec);
    EXPECT_EQ(next->fullName(), "lagGroup/group[10]");
    EXPECT_EQ(old->fullName(), "10");
}

TEST_F(ModelGroups, AreHandedBackWithoutParentButWithTheirMembersWhenDeleted) {
    const auto group = newGroup(10);
    const auto member = group->memberIs(RuxMemberId(3));
    const Follower follower(profile);
    const Follower groupFollower(group);
    EXPECT_EQ(profile->groupDel(RuxGroupId(10)), group);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 10}));
    EXPECT_THAT(groupFollower.notices(), IsEmpty());
    EXPECT_EQ(profile->group(RuxGroupId(10)), nullptr);
    EXPECT_EQ(profile->group().size(), 0u);
    EXPECT_EQ(profile->entity().size(), 0u);
    EXPECT_EQ(group->parent(), nullptr);
    EXPECT_EQ(group->parentAttrName(), "");
    EXPECT_EQ(group->fullName(), "10");
    EXPECT_EQ(group->member(RuxMemberId(3)), member);
    EXPECT_EQ(member->parent(), group);
    EXPECT_EQ(member->fullName(), "10/member[3]");
    EXPECT_EQ(group->kelReferenceCount(), 1u);
}

TEST_F(ModelGroups, AreOutOfTheProfileAndWithoutParentBeforeTheirDeletionIsTold) {
    const auto group = newGroup(10);
    const Reaction reaction(profile, [&](Kel::AttributeId, U32 key) {
        EXPECT_EQ(profile->group(RuxGroupId(key)), nullptr);
        EXPECT_EQ(group->parent(), nullptr);
    });
    profile->groupDel(RuxGroupId(10));
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelGroups, AreStillAliveWhenTheirDeletionIsTold) {
    newGroup(10)->memberIs(RuxMemberId(3));
    const auto& record = LagGroupGroup::kelAllocTrackTypeInfo_;
    const auto live = record.live();
    const Reaction reaction(profile,
                            [&](Kel::AttributeId, U32) { EXPECT_EQ(record.live(), live); });
    profile->groupDel(RuxGroupId(10));
    EXPECT_EQ(reaction.told(), 1);
    EXPECT_EQ(record.live(), live - 1);
}

TEST_F(ModelGroups, AreNotAnnouncedWhenAnUnknownOneIsDeleted) {
    newGroup(10);
    const Follower follower(profile);
    EXPECT_EQ(profile->groupDel(RuxGroupId(11)), nullptr);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(profile->group().size(), 1u);
}

TEST_F(ModelGroups, AreEachAnnouncedWhenAllAreDeleted) {
    for (const U32 id : {10u, 11u, 12u}) {
        newGroup(id);
    }
    Follower follower(profile);
    U32 left = 3;
    const Reaction reaction(
        profile, [&](Kel::AttributeId, U32) { EXPECT_EQ(profile->group().size(), --left); });
    profile->groupDelAll();
    EXPECT_THAT(follower.take(),
                UnorderedElementsAre(Notice{258, 10}, Notice{258, 11}, Notice{258, 12}));
    EXPECT_EQ(reaction.told(), 3);
    profile->groupDelAll();
    EXPECT_THAT(follower.notices(), IsEmpty());
}

TEST_F(ModelGroups, ShareNoIdsWithEntries) {
    const auto group = newGroup(3);
    profile->entryIs(newEntry(3));
    profile->entryDel(RuxMemberId(3));
    EXPECT_EQ(profile->group(RuxGroupId(3)), group);
}

TEST_F(ModelGroups, CanBeManyAndAreEachFoundAndVisitedOnce) {
    constexpr U32 kMany = 500;
    for (U32 id = 0; id < kMany; ++id) {
        newGroup(id);
    }
    std::vector<U32> ids;
    for (auto& group : profile->group()) {
        ids.push_back(group->groupId().value());
    }
    std::ranges::sort(ids);
    ASSERT_EQ(ids.size(), kMany);
    for (U32 id = 0; id < kMany; ++id) {
        EXPECT_EQ(ids[id], id);
        EXPECT_EQ(profile->group(RuxGroupId(id))->groupId(), RuxGroupId(id));
    }
}

TEST_F(ModelGroups, CanBeDeletedWhileTheyAreIterated) {
    for (U32 id = 0; id < 50; ++id) {
        newGroup(id);
    }
    int visited = 0;
    for (auto& group : profile->group()) {
        ++visited;
        profile->groupDel(group->groupId());
    }
    EXPECT_EQ(visited, 50);
    EXPECT_EQ(profile->group().size(), 0u);
}

} // namespace
