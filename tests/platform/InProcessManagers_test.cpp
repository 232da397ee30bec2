#include <gtest/gtest.h>

#include "platform/MbbGlimtKey/InProcessKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace {

using Glimt::EntryKey;
using MbbGlimtKey::InProcessKeyManager;
using RuxTableStatusManager::InProcessStatusManager;

class Match : public Kel::Object<Match, RuxTable::MatchSpecBase> {
  public:
    static const Kel::Type fwkType_;
};
constinit const Kel::Type Match::fwkType_{.name = "Test::Match",
                                          .kind = Kel::Type::Kind::object,
                                          .base = &RuxTable::MatchSpecBase::fwkType_};

class KeyManager : public testing::Test {
  protected:
    Kel::Ptr<InProcessKeyManager> manager_ = new InProcessKeyManager;
    RuxTable::MatchSpecBase::PtrConst match_ = new Match;
};

TEST_F(KeyManager, KeysRiseOverAllKindsOfObjects) {
    EntryKey last = 0;
    for (Kel::U32 i = 0; i < 100; ++i) {
        const EntryKey keys[] = {manager_->alloc(match_, false), manager_->allocAnon(~i),
                                 manager_->allocAnon(i), manager_->alloc(match_, true)};
        for (const EntryKey key : keys) {
            EXPECT_GT(key, last);
            last = key;
        }
        EXPECT_EQ(manager_->latestKey(), last);
    }
}

TEST_F(KeyManager, AnAnonymousKeyLeadsBackToItsNumber) {
    for (const Kel::U32 id : {0u, 1u, 7u, 65536u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        EXPECT_EQ(manager_->anonId(manager_->allocAnon(id)), id);
    }
}

TEST_F(KeyManager, AKeyOfAnEarlierRunLeadsToItsNumberToo) {
    const EntryKey key = manager_->allocAnon(77);
    const Kel::Ptr<InProcessKeyManager> later = new InProcessKeyManager;
    EXPECT_EQ(later->anonId(key), 77u);
}

TEST_F(KeyManager, AKeyRemembersItsMatch) {
    const EntryKey key = manager_->alloc(match_, false);
    EXPECT_EQ(manager_->match(key), match_);
    EXPECT_EQ(manager_->match(key + 1), nullptr);
    EXPECT_EQ(manager_->keys(), 1u);
    EXPECT_EQ(match_->kelReferenceCount(), 2u);
    manager_ = nullptr;
    EXPECT_EQ(match_->kelReferenceCount(), 1u);
}

TEST_F(KeyManager, APopulatedKeyIsKnownAndTheNextOneIsLarger) {
    const EntryKey old = EntryKey{500} << 32 | 3;
    manager_->populate(old, match_);
    EXPECT_EQ(manager_->match(old), match_);
    EXPECT_EQ(manager_->latestKey(), old);
    EXPECT_EQ(manager_->staleRecords(), 0u);
    EXPECT_GT(manager_->alloc(match_, false), old);
    manager_->populate(1, match_);
    EXPECT_GT(manager_->latestKey(), old);
}

TEST_F(KeyManager, APopulatedNullMatchMarksTheRecordStaleAndIsCounted) {
    manager_->populate(5, match_);
    manager_->populate(5, nullptr);
    manager_->populate(9, nullptr);
    EXPECT_EQ(manager_->match(5), nullptr);
    EXPECT_EQ(manager_->keys(), 0u);
    EXPECT_EQ(manager_->staleRecords(), 2u);
    EXPECT_EQ(manager_->latestKey(), 9u);
}

TEST_F(KeyManager, TheLatestKeyOnlyRises) {
    manager_->latestKeyIs(EntryKey{9} << 32);
    manager_->latestKeyIs(EntryKey{3} << 32);
    EXPECT_EQ(manager_->latestKey(), EntryKey{9} << 32);
    EXPECT_GT(manager_->allocAnon(0), EntryKey{9} << 32);
}

TEST_F(KeyManager, RunsOutOfKeysRatherThanStartOver) {
    manager_->latestKeyIs(~EntryKey{0} - 1);
    EXPECT_EQ(manager_->allocAnon(0xFFFFFFFF), ~EntryKey{0});
    EXPECT_THROW(manager_->allocAnon(0xFFFFFFFF), Kel::InternalException);
    EXPECT_THROW(manager_->alloc(match_, false), Kel::InternalException);
    EXPECT_EQ(manager_->latestKey(), ~EntryKey{0});
}

TEST_F(KeyManager, ForgetsMatchesThatNobodyElseHolds) {
    const EntryKey kept = manager_->alloc(match_, false);
    for (int i = 0; i < 10'000; ++i) {
        manager_->alloc(new Match, false);
        EXPECT_LE(manager_->keys(), 128u);
    }
    EXPECT_EQ(manager_->match(kept), match_);
}

TEST_F(KeyManager, EachKindOfObjectHasATableOfItsOwn) {
    manager_->mbbGlimtTableConfig()->recordIs({1, RuxTable::RuxSdkEntryHandle(11)});
    manager_->adtGlimtTableConfig()->recordIs({1, RuxTable::RuxSdkMemberHandle(12)});
    manager_->adtGlimtTableConfig()->recordIs({2, RuxTable::RuxSdkMemberHandle(13)});
    EXPECT_EQ(manager_->mbbGlimtTableConfig()->size(), 1u);
    EXPECT_EQ(manager_->adtGlimtTableConfig()->size(), 2u);
    EXPECT_EQ(manager_->selGrpGlimtTableConfig()->size(), 0u);
}

TEST_F(KeyManager, TheTablesAreReachedThroughTheInterface) {
    const MbbGlimtKey::GlimtKeyManager::Ptr interface = manager_;
    EXPECT_EQ(interface->mbbGlimtTableConfig(), manager_->mbbGlimtTableConfig());
    EXPECT_EQ(interface->adtGlimtTableConfig(), manager_->adtGlimtTableConfig());
    EXPECT_EQ(interface->selGrpGlimtTableConfig(), manager_->selGrpGlimtTableConfig());
    EXPECT_TRUE(interface->fwkType()->isA(MbbGlimtKey::GlimtKeyManager::fwkType_));
}

class StatusManager : public testing::Test {
  protected:
    Kel::Ptr<InProcessStatusManager> manager_ = new InProcessStatusManager;
};

TEST_F(StatusManager, KeepsARecordOfEachObjectAndCountsTheAttempts) {
    const RuxTable::MatchSpecBase::PtrConst match = new Match;
    const RuxTable::MatchSpecBase::PtrConst other = new Match;
    manager_->initStatus(match);
    manager_->initStatus(match);
    manager_->initStatus(other);
    manager_->initStatus(nullptr);
    manager_->initAdtStatus(RuxTable::RuxMemberId(3));
    manager_->initAdtStatus(RuxTable::RuxMemberId(3));
    manager_->initSelGroupStatus(RuxTable::RuxGroupId(3));
    EXPECT_EQ(manager_->entries().size(), 3u);
    EXPECT_EQ(manager_->entries().at(match), 2u);
    EXPECT_EQ(manager_->entries().at(other), 1u);
    EXPECT_EQ(manager_->entries().at(nullptr), 1u);
    EXPECT_EQ(manager_->members().size(), 1u);
    EXPECT_EQ(manager_->members().at(RuxTable::RuxMemberId(3)), 2u);
    EXPECT_EQ(manager_->groups().size(), 1u);
    EXPECT_EQ(manager_->groups().at(RuxTable::RuxGroupId(3)), 1u);
    EXPECT_EQ(match->kelReferenceCount(), 2u);
}

TEST_F(StatusManager, ForgetsWhatIsGone) {
    // There is member 7, and group 7, and no other.
    unsigned asked = 0;
    const auto isGone = [&](auto id) { return ++asked != 0 && id.value() != 7; };
    const RuxTable::MatchSpecBase::PtrConst kept = new Match;
    std::vector<RuxTable::MatchSpecBase::PtrConst> held; // by somebody else who keeps records
    manager_->whatIsGoneIs([&](const auto& match) { return ++asked != 0 && match != kept; }, isGone,
                           isGone);
    manager_->initStatus(kept);
    for (Kel::U32 id = 1; id <= 50'000; ++id) {
        held.emplace_back(new Match);
        manager_->initStatus(held.back());
        manager_->initAdtStatus(RuxTable::RuxMemberId(id));
        manager_->initSelGroupStatus(RuxTable::RuxGroupId(id));
    }
    EXPECT_LE(asked, 3 * 2 * 50'000u); // a constant number of times for each
    asked = 0;
    EXPECT_EQ(manager_->entries().size(), 1u);
    EXPECT_EQ(manager_->members().size(), 1u);
    EXPECT_EQ(manager_->groups().size(), 1u);
    EXPECT_LE(asked, 3 * 64u); // that many were kept
    EXPECT_EQ(manager_->entries().at(kept), 1u);
    EXPECT_EQ(manager_->members().at(RuxTable::RuxMemberId(7)), 1u);
    EXPECT_EQ(manager_->groups().at(RuxTable::RuxGroupId(7)), 1u);
}

TEST_F(StatusManager, CountsTheTwoResynchronisationsApart) {
    EXPECT_EQ(manager_->resyncs(), 0u);
    EXPECT_EQ(manager_->selAdtResyncs(), 0u);
    manager_->resyncStatus();
    manager_->resyncStatus();
    manager_->resyncSelAdtStatus();
    EXPECT_EQ(manager_->resyncs(), 2u);
    EXPECT_EQ(manager_->selAdtResyncs(), 1u);
    EXPECT_TRUE(manager_->fwkType()->isA(RuxTableStatusManager::StatusManager::fwkType_));
}

} // namespace
