#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "mapped-tables/SharedKeyManager.h"
#include "tests/mapped-tables/SharedKeys.h"

namespace {

using Glimt::EntryKey;
using Kel::U32;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace table_files;
using shared_keys::entryOf;
using shared_keys::newMatch;
using Manager = MbbGlimtKey::SharedKeyManager;
using Reservation = Manager::Reservation;

RuxTable::RuxMemberId memberId(U32 id) {
    return RuxTable::RuxMemberId(id);
}
RuxTable::RuxGroupId groupId(U32 id) {
    return RuxTable::RuxGroupId(id);
}
RuxTable::RuxSdkMemberHandle memberHandle(U32 h) {
    return RuxTable::RuxSdkMemberHandle(h);
}
RuxTable::RuxSdkGroupHandle groupHandle(U32 h) {
    return RuxTable::RuxSdkGroupHandle(h);
}

class SharedKeyManagerTest : public testing::Test {
  protected:
    void restart() {
        manager_ = nullptr;
        manager_ = new Manager(directory_, shared_keys::options());
    }
    auto entries() { return walked(*manager_->mbbGlimtTableConfig()); }
    auto members() { return walked(*manager_->adtGlimtTableConfig()); }
    auto groups() { return walked(*manager_->selGrpGlimtTableConfig()); }

    Place place_;
    std::shared_ptr<const Posix::StateDirectory> directory_ = place_.open();
    Manager::Ptr manager_ = new Manager(directory_, shared_keys::options());
    const Manager::Match match_ = newMatch();
};

TEST_F(SharedKeyManagerTest, KeysRiseOverAllKindsOfObjectsAndOverRestarts) {
    EntryKey last = 0;
    for (U32 i = 0; i < 30; ++i) {
        for (const EntryKey key : {manager_->alloc(match_, false), manager_->allocAnon(~i),
                                   manager_->allocAnon(i), manager_->alloc(match_, true)}) {
            EXPECT_GT(key, last);
            last = key;
        }
        restart();
    }
}

TEST_F(SharedKeyManagerTest, KeysRiseOverTheRemovalOfAllRecords) {
    const EntryKey key = manager_->memberIs(memberId(3), memberHandle(30));
    manager_->memberDel(memberId(3));
    restart();
    EXPECT_THAT(members(), IsEmpty());
    EXPECT_GT(manager_->allocAnon(0), key);
}

TEST_F(SharedKeyManagerTest, KeysRiseOverTheLossOfAnyTwoTables) {
    EntryKey last = manager_->allocAnon(1);
    const char* const lost[][2] = {
        {"entries", "members"}, {"members", "groups"}, {"groups", "entries"}};
    for (const auto& [first, second] : lost) {
        std::filesystem::remove(place_.file(first));
        std::filesystem::remove(place_.file(second));
        restart();
        const EntryKey next = manager_->allocAnon(0);
        EXPECT_GT(next, last);
        last = next;
    }
}

TEST_F(SharedKeyManagerTest, AnAnonymousKeyLeadsBackToItsNumber) {
    for (const U32 id : {0u, 1u, 65536u, 0x80000000u, 0xffffffffu}) {
        EXPECT_EQ(manager_->anonId(manager_->allocAnon(id)), id);
        EXPECT_EQ(manager_->anonId(manager_->memberIs(memberId(id), memberHandle(id / 2 + 1))), id);
    }
}

TEST_F(SharedKeyManagerTest, AReservationIsVisibleAndNoRecordAlsoAfterARestart) {
    const EntryKey entry = manager_->alloc(match_, false);
    const EntryKey member = manager_->allocAnon(7);
    for (int run = 0; run < 2; ++run) {
        EXPECT_THAT(manager_->reservations(),
                    ElementsAre(Reservation{entry, false}, Reservation{member, true}));
        EXPECT_THAT(entries(), IsEmpty());
        EXPECT_THAT(members(), IsEmpty());
        restart();
    }
    manager_->reservationDel(entry);
    manager_->reservationDel(member);
    manager_->reservationDel(member);
    restart();
    EXPECT_THAT(manager_->reservations(), IsEmpty());
}

TEST_F(SharedKeyManagerTest, StoringAHandleTurnsTheReservationIntoARecord) {
    const EntryKey entry = manager_->alloc(match_, false);
    EXPECT_EQ(manager_->match(entry), match_);
    EXPECT_EQ(manager_->entryIs(match_, entryOf(500)), entry);
    const EntryKey member = manager_->allocAnon(7);
    EXPECT_EQ(manager_->memberIs(memberId(7), memberHandle(70)), member);
    const EntryKey group = manager_->allocAnon(7);
    EXPECT_EQ(manager_->groupIs(groupId(7), groupHandle(71)), group);
    restart();
    EXPECT_THAT(manager_->reservations(), IsEmpty());
    EXPECT_THAT(entries(), ElementsAre(entryOf(500, entry)));
    EXPECT_THAT(members(), ElementsAre(RuxMbbShared::AdtEntryConfig{member, memberHandle(70)}));
    EXPECT_THAT(groups(), ElementsAre(RuxMbbShared::SelGrpEntryConfig{group, groupHandle(71)}));
}

TEST_F(SharedKeyManagerTest, ANewerReservationReplacesTheOneOfTheSameObject) {
    manager_->alloc(match_, false);
    const EntryKey entry = manager_->alloc(match_, false);
    manager_->allocAnon(4);
    const EntryKey member = manager_->allocAnon(4);
    EXPECT_THAT(manager_->reservations(),
                ElementsAre(Reservation{entry, false}, Reservation{member, true}));
}

TEST_F(SharedKeyManagerTest, RefusedObjectsNeverUseUpTheTables) {
    for (U32 i = 0; i < 500; ++i) {
        manager_->alloc(newMatch(), false);
        manager_->allocAnon(i);
    }
    EXPECT_EQ(manager_->reservations().size(), 2 * Glimt::SlotFormat::kReservations);
    for (U32 i = 1; i <= shared_keys::options().members; ++i) {
        manager_->memberIs(memberId(i), memberHandle(i));
    }
    EXPECT_THAT(refusalOf([this] { manager_->memberIs(memberId(0), memberHandle(99)); }),
                HasSubstr("members: full"));
}

TEST_F(SharedKeyManagerTest, AnEntryThatHasARecordKeepsItsKeyAndDropsANewReservation) {
    const EntryKey key = manager_->entryIs(match_, entryOf(500));
    manager_->alloc(match_, false);
    EXPECT_EQ(manager_->entryIs(match_, entryOf(501)), key);
    EXPECT_THAT(manager_->reservations(), IsEmpty());
    EXPECT_THAT(entries(), ElementsAre(entryOf(501, key)));
}

TEST_F(SharedKeyManagerTest, StoringWhatIsStoredWritesNothing) {
    manager_ = nullptr;
    int stores = 0;
    auto options = shared_keys::options();
    options.beforeStore = [&stores] { ++stores; };
    manager_ = new Manager(directory_, options);
    const auto storeAll = [this] {
        manager_->entryIs(match_, entryOf(500));
        manager_->memberIs(memberId(1), memberHandle(10));
        manager_->groupIs(groupId(1), groupHandle(11));
    };
    storeAll();
    EXPECT_GT(stores, 0);
    stores = 0;
    storeAll();
    EXPECT_EQ(stores, 0);
}

TEST_F(SharedKeyManagerTest, DroppedRecordsAreGone) {
    manager_->entryIs(match_, entryOf(500));
    manager_->memberIs(memberId(1), memberHandle(10));
    manager_->groupIs(groupId(1), groupHandle(11));
    EXPECT_NE(manager_->entryKey(match_), 0u);
    EXPECT_NE(manager_->memberKey(memberId(1)), 0u);
    EXPECT_NE(manager_->groupKey(groupId(1)), 0u);
    for (int i = 0; i < 2; ++i) {
        manager_->entryDel(match_);
        manager_->memberDel(memberId(1));
        manager_->groupDel(groupId(1));
    }
    EXPECT_EQ(manager_->entryKey(match_), 0u);
    EXPECT_EQ(manager_->memberKey(memberId(1)), 0u);
    EXPECT_EQ(manager_->groupKey(groupId(1)), 0u);
    restart();
    EXPECT_THAT(entries(), IsEmpty());
    EXPECT_THAT(members(), IsEmpty());
    EXPECT_THAT(groups(), IsEmpty());
}

TEST_F(SharedKeyManagerTest, DroppingARecordLeavesAReservationOfTheSameNumber) {
    manager_->memberIs(memberId(1), memberHandle(10));
    const EntryKey reserved = manager_->allocAnon(1);
    manager_->memberIs(memberId(1), memberHandle(10));
    manager_->memberDel(memberId(1));
    EXPECT_THAT(manager_->reservations(), ElementsAre(Reservation{reserved, true}));
    EXPECT_EQ(manager_->groupIs(groupId(1), groupHandle(3)), reserved);
}

TEST_F(SharedKeyManagerTest, AHandleThatTheChipGaveOutAgainBelongsToTheNewObject) {
    manager_->memberIs(memberId(1), memberHandle(10));
    const EntryKey second = manager_->memberIs(memberId(2), memberHandle(10));
    EXPECT_THAT(members(), ElementsAre(RuxMbbShared::AdtEntryConfig{second, memberHandle(10)}));

    const auto other = newMatch();
    manager_->entryIs(match_, entryOf(500));
    const EntryKey key = manager_->entryIs(other, entryOf(500));
    EXPECT_EQ(manager_->entryKey(match_), 0u);
    EXPECT_EQ(manager_->match(key), other);
    EXPECT_EQ(entries().size(), 1u);

    manager_->entryIs(match_, entryOf(600));
    manager_->entryIs(other, entryOf(600));
    EXPECT_THAT(entries(), ElementsAre(entryOf(600, key)));
    restart();
    EXPECT_EQ(members().size() + entries().size(), 2u);
}

TEST_F(SharedKeyManagerTest, HandleZeroIsRefused) {
    const Kel::Expect expected(Kel::Exception::kRange);
    EXPECT_THROW(manager_->entryIs(match_, entryOf(0)), Kel::RangeException);
    EXPECT_THROW(manager_->memberIs(memberId(1), memberHandle(0)), Kel::RangeException);
    EXPECT_THROW(manager_->groupIs(groupId(1), groupHandle(0)), Kel::RangeException);
    EXPECT_EQ(manager_->entryKey(match_), 0u);
}

TEST_F(SharedKeyManagerTest, PopulateGivesARecordOfAnEarlierRunItsMatch) {
    const EntryKey key = manager_->entryIs(match_, entryOf(500));
    restart();
    EXPECT_EQ(manager_->match(key), nullptr);
    const auto restored = newMatch();
    manager_->populate(key, restored);
    manager_->latestKeyIs(key);
    EXPECT_EQ(manager_->match(key), restored);
    EXPECT_EQ(manager_->entryKey(restored), key);
    EXPECT_EQ(manager_->entryIs(restored, entryOf(501)), key);
    manager_->entryDel(restored);
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SharedKeyManagerTest, ARecordPopulatedWithoutAMatchIsThereUntilItIsDropped) {
    const EntryKey key = manager_->entryIs(match_, entryOf(500));
    restart();
    manager_->populate(key, nullptr);
    EXPECT_EQ(manager_->match(key), nullptr);
    EXPECT_EQ(entries().size(), 1u);
    manager_->entryKeyDel(key);
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(SharedKeyManagerTest, AStaleRecordWhoseHandleIsInUseAgainHasAMatchAgain) {
    const EntryKey key = manager_->entryIs(match_, entryOf(500));
    restart();
    manager_->populate(key, nullptr);
    EXPECT_EQ(manager_->entryIs(match_, entryOf(500)), key);
    EXPECT_EQ(manager_->entryKey(match_), key);
}

TEST_F(SharedKeyManagerTest, TheLatestKeyOnlyRisesAndWithItAllLaterKeys) {
    manager_->latestKeyIs(EntryKey{100} << 32 | 5);
    manager_->latestKeyIs(EntryKey{50} << 32);
    EXPECT_EQ(manager_->allocAnon(9), EntryKey{101} << 32 | 9);
    restart();
    EXPECT_EQ(manager_->alloc(match_, false), EntryKey{102} << 32);
}

TEST_F(SharedKeyManagerTest, WhenTheSerialNumbersAreUsedUpNoKeyIsGivenTwice) {
    manager_->latestKeyIs(~EntryKey{0});
    const std::string used =
        "entries: no key is left: all serial numbers were given out; to begin anew, stop the "
        "agent, "
        "remove the files 'entries', 'members' and 'groups' of its state directory, and start it "
        "again";
    EXPECT_EQ(refusalOf([this] { manager_->alloc(match_, false); }), used);
    EXPECT_EQ(refusalOf([this] { manager_->allocAnon(1); }), used);
}

TEST_F(SharedKeyManagerTest, AGroupsReservationThatItsRecordTookOverIsNoReservation) {
    const EntryKey key = manager_->allocAnon(5);
    const std::string before = contentOf(place_.file("members"));
    manager_->groupIs(groupId(5), groupHandle(50));
    manager_ = nullptr;
    contentIs(place_.file("members"), before); // as if it had died between the two tables
    restart();
    EXPECT_THAT(manager_->reservations(), IsEmpty());
    EXPECT_EQ(manager_->groupKey(groupId(5)), key);
}

TEST_F(SharedKeyManagerTest, AKeyInTwoTablesIsACorruptionOfBoth) {
    manager_->memberIs(memberId(5), memberHandle(50));
    const EntryKey key = manager_->memberKey(memberId(5));
    manager_->selGrpGlimtTableConfig()->slots().contentIs({.key = key, .handle = 60});
    restart();
    EXPECT_THAT(members(), IsEmpty());
    EXPECT_THAT(groups(), IsEmpty());
    for (const auto* file :
         {&manager_->adtGlimtTableConfig()->file(), &manager_->selGrpGlimtTableConfig()->file()}) {
        EXPECT_THAT(file->latestCorruption(), HasSubstr("another table has its key"));
    }
}

TEST_F(SharedKeyManagerTest, IsReachedThroughTheInterfaceAndTheSameWalk) {
    const MbbGlimtKey::GlimtKeyManager::Ptr interface = manager_;
    manager_->groupIs(groupId(5), groupHandle(50));
    EXPECT_EQ(walked(*interface->selGrpGlimtTableConfig()).size(), 1u);
    EXPECT_TRUE(interface->fwkType()->isA(MbbGlimtKey::GlimtKeyManager::fwkType_));
}

TEST_F(SharedKeyManagerTest, ARecordInAnyTableIsSeenBeforeTheyAreOpened) {
    const auto looked = [this] {
        manager_ = nullptr;
        const bool may = Manager::mayHoldRecords(*directory_);
        restart();
        return may;
    };
    EXPECT_FALSE(looked());
    const EntryKey key = manager_->entryIs(match_, entryOf(7));
    EXPECT_TRUE(looked());
    manager_->entryKeyDel(key);
    EXPECT_FALSE(looked());
    manager_->memberIs(memberId(1), memberHandle(7));
    EXPECT_TRUE(looked());
    manager_->memberDel(memberId(1));
    EXPECT_FALSE(looked());
    manager_->groupIs(groupId(1), groupHandle(7));
    EXPECT_TRUE(looked());
    manager_->groupDel(groupId(1));
    EXPECT_FALSE(looked());
}

} // namespace
