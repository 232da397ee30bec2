#include <stdexcept>

#include "tests/BfLagGroup/ModelFixture.h"

using namespace model_test;

namespace {

using ModelDestruction = Model;
using ModelHandlers = Model;

// Destruction

TEST_F(ModelDestruction, AnnouncesEachGroupAndNoEntry) {
    newGroup(10);
    newGroup(11);
    for (const U32 id : {1u, 2u, 3u}) {
        profile->entryIs(newEntry(id));
    }
    const Follower follower(profile);
    profile = nullptr;
    EXPECT_THAT(follower.notices(), UnorderedElementsAre(Notice{258, 10}, Notice{258, 11}));
    EXPECT_EQ(follower.notifier(), nullptr);
    EXPECT_FALSE(follower.isRegisteredNotifiee());
    EXPECT_EQ(liveObjects.growth(), test_support::LiveObjects::Growth());
}

TEST_F(ModelDestruction, StillHoldsEveryEntryWhileTheGroupsAreAnnounced) {
    newGroup(10);
    profile->entryIs(newEntry(1));
    profile->entryIs(newEntry(2));
    const auto* const dying = profile.ptr();
    const Reaction reaction(profile, [&](Kel::AttributeId id, U32 key) {
        EXPECT_EQ(id, 258u);
        EXPECT_EQ(dying->group(RuxGroupId(key)), nullptr);
        EXPECT_EQ(dying->entry().size(), 2u);
    });
    profile = nullptr;
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelDestruction, AnnouncesAGroupToTheProfileBeforeItsMembersToTheGroup) {
    const auto* const group = newGroup(10).ptr();
    profile->group(RuxGroupId(10))->memberIs(RuxMemberId(3));
    std::vector<Notice> order;
    const auto note = [&](Kel::AttributeId id, U32 key) { order.push_back({id, key}); };
    const Reaction onProfile(profile, note);
    const Reaction onGroup(group, note);
    profile = nullptr;
    EXPECT_THAT(order, ElementsAre(Notice{258, 10}, Notice{262, 3}));
}

TEST_F(ModelDestruction, LetsGoOfTheEntriesBeforeAGroupThatIsMadeMeanwhile) {
    struct EndOf : Kel::PtrInterface::NotifieeConst {
        EndOf(const char* name, std::vector<std::string>& ends) : name_(name), ends_(ends) {}
        void onZeroReferences() override { ends_.push_back(name_); }
        const char* name_;
        std::vector<std::string>& ends_;
    };
    std::vector<std::string> ends;
    EndOf endOfGroup("group", ends);
    EndOf endOfEntry("entry", ends);
    newGroup(10);
    profile->entryIs(newEntry(1));
    endOfEntry.notifierIs(profile->entry(RuxMemberId(1)).ptr());
    auto& dying = *profile;
    const Reaction reaction(profile, [&](Kel::AttributeId, U32 key) {
        if (!endOfGroup.notifier()) {
            endOfGroup.notifierIs(dying.groupIs(RuxGroupId(key), 4, 1, kSetLagPort).ptr());
        }
    });
    profile = nullptr;
    EXPECT_THAT(ends, ElementsAre("entry", "group"));
}

TEST_F(ModelDestruction, LeavesGroupsMembersAndEntriesThatAreStillHeld) {
    const auto group = newGroup(10);
    const auto member = group->memberIs(RuxMemberId(3));
    const auto entry = newEntry(1);
    profile->entryIs(entry);
    profile = nullptr;
    EXPECT_EQ(group->parent(), nullptr);
    EXPECT_EQ(group->fullName(), "10");
    EXPECT_EQ(group->member(RuxMemberId(3)), member);
    EXPECT_EQ(group->kelReferenceCount(), 1u);
    EXPECT_EQ(entry->kelReferenceCount(), 1u);
}

TEST_F(ModelDestruction, OfAGroupAnnouncesEachMemberAndThenDropsItsFollowers) {
    auto group = newGroup(10);
    const auto held = group->memberIs(RuxMemberId(3));
    group->memberIs(RuxMemberId(4));
    profile->groupDel(RuxGroupId(10));
    const Follower follower(group);
    group = nullptr;
    EXPECT_THAT(follower.notices(), UnorderedElementsAre(Notice{262, 3}, Notice{262, 4}));
    EXPECT_EQ(follower.notifier(), nullptr);
    EXPECT_EQ(held->parent(), nullptr);
    EXPECT_EQ(held->kelReferenceCount(), 1u);
}

TEST_F(ModelDestruction, OfAnEntryOrAMemberDropsItsFollowersWithoutAWord) {
    auto entry = newEntry(1, lagPort(5));
    auto member = newGroup(10)->memberIs(RuxMemberId(3));
    const Follower entryFollower(entry);
    const Follower memberFollower(member);
    entry = nullptr;
    member = nullptr;
    profile->groupDelAll();
    EXPECT_THAT(entryFollower.notices(), IsEmpty());
    EXPECT_EQ(entryFollower.notifier(), nullptr);
    EXPECT_THAT(memberFollower.notices(), IsEmpty());
    EXPECT_EQ(memberFollower.notifier(), nullptr);
}

// Who is told

TEST_F(ModelHandlers, AreToldInTheOrderOfTheirRegistration) {
    std::vector<int> order;
    const Reaction first(profile, [&](Kel::AttributeId, U32) { order.push_back(1); });
    const Reaction second(profile, [&](Kel::AttributeId, U32) { order.push_back(2); });
    newGroup(10);
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST_F(ModelHandlers, AreNotToldWhileTheirNotifiersNotificationsAreOff) {
    const Follower follower(profile);
    profile->hasNotificationActiveIs(false);
    EXPECT_NE(newGroup(10), nullptr);
    EXPECT_EQ(profile->group().size(), 1u);
    profile->hasNotificationActiveIs(true);
    newGroup(11);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 11}));
}

TEST_F(ModelHandlers, AreNotToldWhileTheirOwnNotificationsAreOff) {
    Follower follower(profile);
    follower.hasNotificationActiveIs(false);
    newGroup(10);
    follower.hasNotificationActiveIs(true);
    newGroup(11);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 11}));
}

// Handlers that change the object that they follow

TEST_F(ModelHandlers, MayMakeAnotherGroupWhileOneIsAnnounced) {
    const Reaction reaction(profile, [this](Kel::AttributeId, U32 key) {
        if (key == 10) {
            newGroup(11);
        }
    });
    const Follower later(profile);
    EXPECT_EQ(newGroup(10)->groupId(), RuxGroupId(10));
    EXPECT_EQ(profile->group().size(), 2u);
    // The nested change is told to everyone before the visit of the first goes on.
    EXPECT_THAT(later.notices(), ElementsAre(Notice{258, 11}, Notice{258, 10}));
}

TEST_F(ModelHandlers, MayDeleteTheGroupThatIsAnnounced) {
    const Reaction reaction(profile, [this](Kel::AttributeId, U32 key) {
        profile->groupDel(RuxGroupId(key)); // absent when its deletion is announced
    });
    const auto group = newGroup(10);
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->parent(), nullptr);
    EXPECT_EQ(profile->group().size(), 0u);
    EXPECT_EQ(reaction.told(), 2);
}

TEST_F(ModelHandlers, MayMakeAGroupAgainWhoseDeletionIsAnnounced) {
    const auto old = newGroup(10);
    const Reaction reaction(profile, [this](Kel::AttributeId, U32 key) {
        profile->groupIs(RuxGroupId(key), 4, 1, kSetLagPort);
    });
    EXPECT_EQ(profile->groupDel(RuxGroupId(10)), old);
    ASSERT_NE(profile->group(RuxGroupId(10)), nullptr);
    EXPECT_NE(profile->group(RuxGroupId(10)), old);
    EXPECT_EQ(reaction.told(), 2);
}

TEST_F(ModelHandlers, MayDeleteAllGroupsWhileAllAreDeleted) {
    for (const U32 id : {10u, 11u, 12u}) {
        newGroup(id);
    }
    const Reaction reaction(profile, [this](Kel::AttributeId, U32) { profile->groupDelAll(); });
    const Follower later(profile);
    profile->groupDelAll();
    EXPECT_EQ(profile->group().size(), 0u);
    EXPECT_THAT(later.notices(),
                UnorderedElementsAre(Notice{258, 10}, Notice{258, 11}, Notice{258, 12}));
}

TEST_F(ModelHandlers, MayMakeEachGroupAgainWhileAllAreDeleted) {
    std::vector<LagGroupGroup::Ptr> made{newGroup(10), newGroup(11), newGroup(12)};
    const Reaction reaction(profile, [&](Kel::AttributeId, U32 key) {
        // Those of before live on, so that the new ones stand elsewhere in memory.
        if (!profile->group(RuxGroupId(key)) && made.size() < 100) {
            made.push_back(newGroup(key));
        }
    });
    profile->groupDelAll();
    EXPECT_EQ(made.size(), 6u);
    EXPECT_EQ(profile->group().size(), 3u);
}

TEST_F(ModelHandlers, MayReplaceTheEntryThatIsAnnounced) {
    const auto next = newEntry(1);
    const Reaction reaction(profile, [&](Kel::AttributeId, U32) { profile->entryIs(next); });
    profile->entryIs(newEntry(1));
    EXPECT_EQ(profile->entry(RuxMemberId(1)), next);
    EXPECT_EQ(profile->entry().size(), 1u);
    EXPECT_EQ(reaction.told(), 2);
}

TEST_F(ModelHandlers, MayDeleteAllEntriesWhileOneIsAnnounced) {
    profile->entryIs(newEntry(1));
    profile->entryIs(newEntry(2));
    const Reaction reaction(profile, [this](Kel::AttributeId, U32) { profile->entryDelAll(); });
    profile->entryIs(newEntry(3));
    EXPECT_EQ(profile->entry().size(), 0u);
    EXPECT_EQ(reaction.told(), 4); // one insertion, three deletions
}

TEST_F(ModelHandlers, MayDeleteTheMemberThatIsAnnounced) {
    const auto group = newGroup(10);
    const Reaction reaction(group,
                            [&](Kel::AttributeId, U32 key) { group->memberDel(RuxMemberId(key)); });
    const auto member = group->memberIs(RuxMemberId(3));
    ASSERT_NE(member, nullptr);
    EXPECT_EQ(member->parent(), nullptr);
    EXPECT_EQ(group->members(), 0u);
    EXPECT_EQ(reaction.told(), 2);
}

TEST_F(ModelHandlers, MayTurnAMemberBackOn) {
    const auto member = newGroup(10)->memberIs(RuxMemberId(3));
    const Reaction reaction(member, [&](Kel::AttributeId, U32) { member->activeIs(true); });
    const Follower later(member);
    member->activeIs(false);
    EXPECT_TRUE(member->active());
    EXPECT_EQ(later.notices().size(), 2u);
}

TEST_F(ModelHandlers, MayChangeTheActionAgain) {
    const auto last = lagPort(7);
    const auto entry = newEntry(1, lagPort(5));
    const Reaction reaction(entry, [&](Kel::AttributeId, U32) { entry->actionIs(last); });
    entry->actionIs(lagPort(6));
    EXPECT_EQ(entry->action(), last);
    EXPECT_EQ(reaction.told(), 2);
}

TEST_F(ModelHandlers, MayLetGoOfTheProfile) {
    const Reaction reaction(profile, [this](Kel::AttributeId, U32) { profile = nullptr; });
    LagGroupActionProfile& dying = *profile;
    const auto group = dying.groupIs(RuxGroupId(10), 4, 1, kSetLagPort);
    EXPECT_EQ(group->parent(), nullptr);
    EXPECT_EQ(reaction.told(), 2); // the group's coming, and its going with the profile
}

// Exceptions from handlers

struct ModelExceptions : Model {
    struct Refused : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    static void refuse(Kel::AttributeId, U32) { throw Refused("refused"); }
};

TEST_F(ModelExceptions, LeaveTheMutatorAtOnceAndLaterFollowersUntold) {
    const Reaction refusing(profile, &refuse);
    const Follower later(profile);
    EXPECT_THROW(newGroup(10), Refused);
    EXPECT_EQ(refusing.told(), 1);
    EXPECT_EQ(refusing.exceptions(), 1);
    EXPECT_THAT(later.notices(), IsEmpty());
}

TEST_F(ModelExceptions, LeaveTheNewGroupInTheProfile) {
    const Reaction refusing(profile, &refuse);
    EXPECT_THROW(newGroup(10), Refused);
    const auto group = profile->group(RuxGroupId(10));
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->parent(), profile);
    EXPECT_EQ(newGroup(10), group); // already there: nobody is told
    EXPECT_EQ(refusing.told(), 1);
}

TEST_F(ModelExceptions, LeaveADeletedGroupDeleted) {
    newGroup(10);
    const Reaction refusing(profile, &refuse);
    EXPECT_THROW(profile->groupDel(RuxGroupId(10)), Refused);
    EXPECT_EQ(profile->group(RuxGroupId(10)), nullptr);
    EXPECT_EQ(liveObjects.growth().count("LagGroupGroup"), 0u);
}

TEST_F(ModelExceptions, EndTheDeletionOfAllGroupsAfterTheOneThatIsRefused) {
    for (const U32 id : {10u, 11u, 12u}) {
        newGroup(id);
    }
    const Reaction refusing(profile, &refuse);
    EXPECT_THROW(profile->groupDelAll(), Refused);
    EXPECT_EQ(refusing.told(), 1);
    EXPECT_EQ(profile->group().size(), 2u);
}

TEST_F(ModelExceptions, LeaveTheNewEntryInTheProfile) {
    const Reaction refusing(profile, &refuse);
    const auto entry = newEntry(1);
    EXPECT_THROW(profile->entryIs(entry), Refused);
    EXPECT_EQ(profile->entry(RuxMemberId(1)), entry);
    const auto next = newEntry(1);
    EXPECT_THROW(profile->entryIs(next), Refused);
    EXPECT_EQ(profile->entry(RuxMemberId(1)), next);
}

TEST_F(ModelExceptions, LeaveADeletedEntryDeleted) {
    profile->entryIs(newEntry(1));
    const Reaction refusing(profile, &refuse);
    EXPECT_THROW(profile->entryDel(RuxMemberId(1)), Refused);
    EXPECT_EQ(profile->entry().size(), 0u);
    EXPECT_EQ(liveObjects.growth().count("LagGroupActionProfileEntry"), 0u);
}

TEST_F(ModelExceptions, EndTheDeletionOfAllEntriesAfterTheOneThatIsRefused) {
    for (const U32 id : {1u, 2u, 3u}) {
        profile->entryIs(newEntry(id));
    }
    const Reaction refusing(profile, &refuse);
    EXPECT_THROW(profile->entryDelAll(), Refused);
    EXPECT_EQ(profile->entry().size(), 2u);
}

TEST_F(ModelExceptions, LeaveTheNewMemberInTheGroupAndADeletedOneDeleted) {
    const auto group = newGroup(10);
    const Reaction refusing(group, &refuse);
    EXPECT_THROW(group->memberIs(RuxMemberId(3)), Refused);
    EXPECT_NE(group->member(RuxMemberId(3)), nullptr);
    EXPECT_THROW(group->memberDel(RuxMemberId(3)), Refused);
    EXPECT_EQ(group->member(RuxMemberId(3)), nullptr);
    // The group's own end announces members, and that must not fail.
    EXPECT_EQ(group->members(), 0u);
}

TEST_F(ModelExceptions, LeaveTheNewStateOfAMember) {
    const auto member = newGroup(10)->memberIs(RuxMemberId(3));
    const Reaction refusing(member, &refuse);
    EXPECT_THROW(member->activeIs(false), Refused);
    EXPECT_FALSE(member->active());
    member->activeIs(false); // no change: nobody is told
    EXPECT_EQ(refusing.told(), 1);
}

TEST_F(ModelExceptions, LeaveTheNewActionOfAnEntry) {
    const auto entry = newEntry(1, lagPort(5));
    const auto action = lagPort(6);
    const Reaction refusing(entry, &refuse);
    EXPECT_THROW(entry->actionIs(action), Refused);
    EXPECT_EQ(entry->action(), action);
}

} // namespace
