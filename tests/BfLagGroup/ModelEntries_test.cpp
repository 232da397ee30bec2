#include "tests/BfLagGroup/ModelFixture.h"

using namespace model_test;

namespace {

using ModelEntries = Model;

std::vector<U32> memberIds(const LagGroupActionProfile& profile) {
    std::vector<U32> ids;
    for (const auto& entry : profile.entry()) {
        ids.push_back(entry->memberId().value());
    }
    return ids;
}

TEST_F(ModelEntries, AreNoneInANewProfile) {
    EXPECT_EQ(profile->entry().size(), 0u);
    EXPECT_EQ(profile->entry(RuxMemberId(0)), nullptr);
    EXPECT_EQ(profile->fullName(), "lagGroup");
    EXPECT_EQ(profile->parent(), nullptr);
}

TEST_F(ModelEntries, AreKeptUnderTheirMemberIdAndAnnouncedOnce) {
    const Follower follower(profile);
    const auto entry = newEntry(3);
    profile->entryIs(entry);
    EXPECT_EQ(profile->entry(RuxMemberId(3)), entry);
    EXPECT_EQ(profile->entry().size(), 1u);
    EXPECT_EQ(entry->kelReferenceCount(), 2u); // the test's and the collection's
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 3}));
}

TEST_F(ModelEntries, TakeTheWholeRangeOfMemberIds) {
    for (const U32 id : {0u, 1u, 4294967295u}) {
        profile->entryIs(newEntry(id));
    }
    EXPECT_THAT(memberIds(*profile), UnorderedElementsAre(0u, 1u, 4294967295u));
    EXPECT_EQ(profile->entry(RuxMemberId(4294967295u))->memberId(), RuxMemberId(4294967295u));
}

TEST_F(ModelEntries, CanBeManyAndAreEachFoundAndVisitedOnce) {
    constexpr U32 kMany = 1000;
    for (U32 id = 0; id < kMany; ++id) {
        profile->entryIs(newEntry(id));
    }
    std::vector<U32> ids = memberIds(*profile);
    std::ranges::sort(ids);
    ASSERT_EQ(ids.size(), kMany);
    for (U32 id = 0; id < kMany; ++id) {
        EXPECT_EQ(ids[id], id);
        EXPECT_EQ(profile->entry(RuxMemberId(id))->memberId(), RuxMemberId(id));
    }
}

TEST_F(ModelEntries, DoNotGetTheProfileAsParent) {
    const auto entry = newEntry(3);
    profile->entryIs(entry);
    EXPECT_EQ(entry->parent(), nullptr);
    EXPECT_EQ(entry->parentAttrName(), "");
    EXPECT_EQ(entry->fullName(), "3");
    EXPECT_EQ(profile->entity().size(), 0u);
}

TEST_F(ModelEntries, AreNotAnnouncedWhenTheStoredObjectIsGivenAgain) {
    const auto entry = newEntry(3);
    profile->entryIs(entry);
    const Follower follower(profile);
    profile->entryIs(entry);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(entry->kelReferenceCount(), 2u);
}

TEST_F(ModelEntries, AreReplacedByAnotherObjectOfTheSameMemberInOneAnnouncement) {
    const auto old = newEntry(3);
    profile->entryIs(old);
    const Follower follower(profile);
    const auto next = newEntry(3);
    profile->entryIs(next);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 3}));
    EXPECT_EQ(profile->entry(RuxMemberId(3)), next);
    EXPECT_EQ(profile->entry().size(), 1u);
    EXPECT_EQ(old->kelReferenceCount(), 1u);
    EXPECT_EQ(next->kelReferenceCount(), 2u);
}

TEST_F(ModelEntries, AreReleasedWhenReplacedAndBeforeAnyoneIsTold) {
    profile->entryIs(newEntry(3));
    const auto& record = LagGroupActionProfileEntry::kelAllocTrackTypeInfo_;
    const auto live = record.live();
    const Reaction reaction(profile, [&](Kel::AttributeId, U32) {
        EXPECT_EQ(record.live(), live);
        EXPECT_NE(profile->entry(RuxMemberId(3)), nullptr);
    });
    profile->entryIs(newEntry(3));
    EXPECT_EQ(reaction.told(), 1);
    EXPECT_EQ(record.live(), live);
}

TEST_F(ModelEntries, RefuseNullAndStayAsTheyWere) {
    profile->entryIs(newEntry(3));
    const Follower follower(profile);
    try {
        profile->entryIs(nullptr);
        FAIL() << "null was accepted";
    } catch (const Kel::MutatorArgNullPointerException& e) {
        EXPECT_STREQ(e.what(),
                     "BfLagGroup::LagGroupActionProfile: null pointer given to the mutator of "
                     "entry");
        EXPECT_EQ(e.id(), Kel::Exception::kMutator);
    }
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_THAT(memberIds(*profile), ElementsAre(3u));
}

TEST_F(ModelEntries, AreHandedBackWhenDeletedAndAnnouncedOnce) {
    const auto entry = newEntry(3);
    profile->entryIs(entry);
    const Follower follower(profile);
    EXPECT_EQ(profile->entryDel(RuxMemberId(3)), entry);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 3}));
    EXPECT_EQ(profile->entry(RuxMemberId(3)), nullptr);
    EXPECT_EQ(profile->entry().size(), 0u);
    EXPECT_EQ(entry->kelReferenceCount(), 1u);
}

TEST_F(ModelEntries, AreGoneFromTheProfileBeforeTheirDeletionIsTold) {
    profile->entryIs(newEntry(3));
    const Reaction reaction(profile, [&](Kel::AttributeId, U32 key) {
        EXPECT_EQ(key, 3u);
        EXPECT_EQ(profile->entry(RuxMemberId(3)), nullptr);
    });
    profile->entryDel(RuxMemberId(3));
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelEntries, AreNotAnnouncedWhenAnUnknownOneIsDeleted) {
    profile->entryIs(newEntry(3));
    const Follower follower(profile);
    EXPECT_EQ(profile->entryDel(RuxMemberId(4)), nullptr);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(profile->entry().size(), 1u);
}

TEST_F(ModelEntries, AreEachAnnouncedWhenAllAreDeleted) {
    for (const U32 id : {3u, 5u, 7u}) {
        profile->entryIs(newEntry(id));
    }
    Follower follower(profile);
    U32 left = 3;
    const Reaction reaction(
        profile, [&](Kel::AttributeId, U32) { EXPECT_EQ(profile->entry().size(), --left); });
    profile->entryDelAll();
    EXPECT_THAT(follower.take(),
                UnorderedElementsAre(Notice{259, 3}, Notice{259, 5}, Notice{259, 7}));
    EXPECT_EQ(reaction.told(), 3);
    profile->entryDelAll();
    EXPECT_THAT(follower.notices(), IsEmpty());
}

TEST_F(ModelEntries, CanBeGivenAgainAfterTheirDeletion) {
    const auto entry = newEntry(3);
    profile->entryIs(entry);
    profile->entryDel(RuxMemberId(3));
    const Follower follower(profile);
    profile->entryIs(entry);
    EXPECT_EQ(profile->entry(RuxMemberId(3)), entry);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 3}));
}

// The action of an entry

TEST_F(ModelEntries, CarryTheActionOfTheirConstructor) {
    const auto action = lagPort(5);
    const auto entry = newEntry(3, action);
    EXPECT_EQ(entry->memberId(), RuxMemberId(3));
    EXPECT_EQ(entry->action(), action);
    EXPECT_EQ(action->kelReferenceCount(), 2u);
    EXPECT_EQ(newEntry(4)->action(), nullptr);
}

TEST_F(ModelEntries, AnnounceANewActionOnThemselvesWithoutKey) {
    const auto entry = newEntry(3, lagPort(5));
    profile->entryIs(entry);
    const Follower profileFollower(profile);
    const Follower follower(entry);
    const auto action = lagPort(6);
    entry->actionIs(action);
    EXPECT_EQ(entry->action(), action);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{260, std::nullopt}));
    EXPECT_THAT(profileFollower.notices(), IsEmpty());
}

TEST_F(ModelEntries, DoNotAnnounceTheActionThatTheyCarry) {
    const auto action = lagPort(5);
    const auto entry = newEntry(3, action);
    const Follower follower(entry);
    entry->actionIs(action);
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(action->kelReferenceCount(), 2u);
}

TEST_F(ModelEntries, TakeAnotherActionWithTheSameFieldsForAChange) {
    const auto entry = newEntry(3, lagPort(5));
    const Follower follower(entry);
    entry->actionIs(lagPort(5));
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{260, std::nullopt}));
}

TEST_F(ModelEntries, AcceptNoAction) {
    const auto entry = newEntry(3, lagPort(5));
    Follower follower(entry);
    entry->actionIs(nullptr);
    EXPECT_EQ(entry->action(), nullptr);
    EXPECT_THAT(follower.take(), ElementsAre(Notice{260, std::nullopt}));
    entry->actionIs(nullptr);
    EXPECT_THAT(follower.notices(), IsEmpty());
}

TEST_F(ModelEntries, ReleaseTheOldActionBeforeAnyoneIsTold) {
    const auto entry = newEntry(3, lagPort(5));
    const auto& record = SetLagPortActionProfileSpec::kelAllocTrackTypeInfo_;
    const auto live = record.live();
    const Reaction reaction(entry, [&](Kel::AttributeId id, U32) {
        EXPECT_EQ(id, 260u);
        EXPECT_EQ(record.live(), live);
        EXPECT_EQ(entry->action()->egrL2AintfPort(), 6u);
    });
    entry->actionIs(lagPort(6));
    EXPECT_EQ(reaction.told(), 1);
}

TEST_F(ModelEntries, ReleaseTheirActionWhenTheyDie) {
    const auto action = lagPort(5);
    profile->entryIs(newEntry(3, action));
    EXPECT_EQ(action->kelReferenceCount(), 2u);
    profile->entryDel(RuxMemberId(3));
    EXPECT_EQ(action->kelReferenceCount(), 1u);
}

} // namespace
