#include "agent/desired/StateDatabase.h"

#include <csignal>
#include <optional>

#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using testing::EndsWith;
using testing::HasSubstr;

class StateDatabaseTest : public testing::Test {
  protected:
    StateDatabaseTest() { open(); }

    void open() {
        database_.reset();
        database_.emplace(place_.open(), kScope);
    }
    std::string ofFile(const std::string& text) const {
        return place_.file("desired.db").string() + ": " + text;
    }
    /// Runs `work` on the database in a child that then kills itself.
    template <class Work>
    void inKilledChild(Work work) {
        database_.reset();
        EXPECT_EQ(-1, table_files::statusOfChild([&] {
            StateDatabase database(place_.open(), kScope);
            work(database);
            ::kill(::getpid(), SIGKILL);
            return 0;
        }));
        open();
    }

    table_files::Place place_;
    LatestConnection connection_;
    std::optional<StateDatabase> database_;
};

TEST_F(StateDatabaseTest, ANewOneIsEmpty) {
    EXPECT_EQ(DesiredState(), database_->read());
    EXPECT_EQ(place_.file("desired.db"), database_->path());
}

TEST_F(StateDatabaseTest, EverythingComesBack) {
    write(*database_, someState());
    database_->commit();
    EXPECT_EQ(someState(), database_->read());
    open();
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, EveryActionComesBack) {
    DesiredState state;
    for (std::uint32_t action = 0; action < 5; ++action) {
        state.members[action] = {static_cast<ActionType>(action), 9};
    }
    write(*database_, state);
    database_->commit();
    open();
    EXPECT_EQ(state, database_->read());
}

TEST_F(StateDatabaseTest, WhatIsWrittenAgainIsReplaced) {
    write(*database_, someState());
    database_->memberIs(RuxMemberId(1), {kSetLagPort, 99});
    database_->groupMemberIs(RuxGroupId(10), RuxMemberId(2), true);
    database_->entryIs(EntryName(), {10, false});
    database_->entryIs(MatchKey{0xFFFFFFFF, 0xFF, 7}, {1, true});
    DesiredState expected = someState();
    expected.members[1].port = 99;
    expected.groups[10].members[2] = true;
    expected.entries = {{EntryName(), {10, false}}, {MatchKey{0xFFFFFFFF, 0xFF, 7}, {1, true}}};
    EXPECT_EQ(expected, database_->read());
}

TEST_F(StateDatabaseTest, AGroupIsReplacedWithItsMembers) {
    write(*database_, someState());
    const DesiredGroup other{2, 2, kSetLagPort, {{2, true}}};
    database_->groupIs(RuxGroupId(10), other);
    EXPECT_EQ(other, database_->read().groups.at(10));
}

TEST_F(StateDatabaseTest, EntriesDifferInEachPartOfTheKey) {
    database_->memberIs(RuxMemberId(1), {kSetLagPort, 1});
    DesiredState expected = database_->read();
    for (const MatchKey& key : {MatchKey{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}) {
        database_->entryIs(key, {1, true});
        expected.entries[key] = {1, true};
    }
    database_->entryIs(EntryName(), {1, true});
    expected.entries[EntryName()] = {1, true};
    EXPECT_EQ(expected, database_->read());
    database_->entryDel(MatchKey{0, 0, 0});
    expected.entries.erase(MatchKey{0, 0, 0});
    EXPECT_EQ(expected, database_->read());
}

TEST_F(StateDatabaseTest, WhatIsDeletedIsGone) {
    write(*database_, someState());
    database_->entryDel(MatchKey{0xFFFFFFFF, 0xFF, 7});
    database_->entryDel(EntryName());
    database_->groupMemberDel(RuxGroupId(10), RuxMemberId(1));
    database_->memberDel(RuxMemberId(1));
    DesiredState expected = someState();
    expected.entries.clear();
    expected.groups[10].members.erase(1);
    expected.members.erase(1);
    EXPECT_EQ(expected, database_->read());
    database_->groupDel(RuxGroupId(10));
    database_->memberDel(RuxMemberId(2));
    database_->memberDel(RuxMemberId(0xFFFFFFFF));
    EXPECT_EQ(DesiredState(), database_->read());
}

TEST_F(StateDatabaseTest, DeletingWhatIsNotThereChangesNothing) {
    write(*database_, someState());
    database_->memberDel(RuxMemberId(77));
    database_->groupDel(RuxGroupId(77));
    database_->groupMemberDel(RuxGroupId(10), RuxMemberId(77));
    database_->entryDel(MatchKey{1, 2, 3});
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, ReferencesAreKept) {
    write(*database_, someState());
    database_->commit();
    const std::string foreign = "FOREIGN KEY constraint failed";
    EXPECT_EQ(ofFile("cannot delete a member: " + foreign),
              storageErrorOf([&] { database_->memberDel(RuxMemberId(1)); }));
    EXPECT_EQ(ofFile("cannot delete a group: " + foreign),
              storageErrorOf([&] { database_->groupDel(RuxGroupId(10)); }));
    EXPECT_EQ(ofFile("cannot store a member of a group: " + foreign), storageErrorOf([&] {
                  database_->groupMemberIs(RuxGroupId(11), RuxMemberId(1), true);
              }));
    EXPECT_EQ(ofFile("cannot store an entry: " + foreign), storageErrorOf([&] {
                  database_->entryIs(EntryName(), {1, false});
              }));
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, ATransactionBeginsWithTheFirstWriteAndEndsOnce) {
    EXPECT_FALSE(database_->isInTransaction());
    database_->commit();
    database_->rollback();
    write(*database_, someState());
    EXPECT_TRUE(database_->isInTransaction());
    database_->rollback();
    EXPECT_FALSE(database_->isInTransaction());
    EXPECT_EQ(DesiredState(), database_->read());
    write(*database_, someState());
    database_->commit();
    EXPECT_FALSE(database_->isInTransaction());
    database_->rollback();
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, WhatWasNotCommittedDiesWithTheProcess) {
    write(*database_, someState());
    database_->commit();
    inKilledChild([](StateDatabase& database) { database.entryDel(EntryName()); });
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, WhatWasCommittedOutlivesTheProcess) {
    inKilledChild([](StateDatabase& database) {
        write(database, someState());
        database.commit();
    });
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, AFailedCommitLeavesTheStateAsItWas) {
    write(*database_, someState());
    database_->commit();
    refuseCommits(connection_.get());
    database_->entryDel(EntryName());
    EXPECT_THAT(storageErrorOf([&] { database_->commit(); }), HasSubstr("cannot end the"));
    EXPECT_FALSE(database_->isInTransaction());
    EXPECT_EQ(someState(), database_->read());
}

TEST_F(StateDatabaseTest, AFullDiskIsSaidAndLosesNothing) {
    byHand(connection_.get(), "PRAGMA max_page_count=1"); // not one page more than there are
    std::string error;
    std::uint32_t kept = 0;
    while (error.empty() && kept < 10'000) {
        error = storageErrorOf([&] { database_->memberIs(RuxMemberId(kept), {kSetLagPort, 1}); });
        if (error.empty()) {
            database_->commit();
            ++kept;
        }
    }
    EXPECT_EQ(ofFile("cannot store a member: database or disk is full"), error);
    database_->rollback();
    EXPECT_GT(kept, 0u);
    EXPECT_EQ(kept, database_->read().members.size());
    database_->memberDel(RuxMemberId(0));
    database_->commit();
    open();
    EXPECT_EQ(kept - 1, database_->read().members.size());
}

TEST_F(StateDatabaseTest, AFileThatCannotBeWrittenIsSaid) {
    byHand(connection_.get(), "PRAGMA query_only=ON");
    EXPECT_EQ(ofFile("cannot begin a transaction: attempt to write a readonly database"),
              storageErrorOf([&] {
                  database_->memberIs(RuxMemberId(1), {kSetLagPort, 1});
              }));
    EXPECT_EQ(DesiredState(), database_->read());
}

TEST_F(StateDatabaseTest, ALockedDatabaseIsSaidAfterAWhile) {
    sqlite3_busy_timeout(connection_.get(), 10);
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(database_->path().c_str(), &other));
    byHand(other, "BEGIN IMMEDIATE");
    EXPECT_EQ(ofFile("cannot begin a transaction: database is locked by another program"),
              storageErrorOf([&] {
                  database_->memberIs(RuxMemberId(1), {kSetLagPort, 1});
              }));
    byHand(other, "ROLLBACK");
    sqlite3_close(other);
    database_->memberIs(RuxMemberId(1), {kSetLagPort, 1});
    database_->commit();
    EXPECT_EQ(1u, database_->read().members.size());
}

TEST_F(StateDatabaseTest, APersonCanReadWhileTheAgentWrites) {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(database_->path().c_str(), &other));
    byHand(other, "BEGIN; SELECT * FROM members");
    write(*database_, someState());
    database_->commit();
    EXPECT_EQ(someState(), database_->read());
    sqlite3_close(other);
}

TEST_F(StateDatabaseTest, ASecondAgentIsKeptOut) {
    const auto second = [&] { StateDatabase(place_.open(), kScope); };
    EXPECT_THAT(table_files::refusalOf(second), HasSubstr("in use by another agent"));
}

} // namespace
} // namespace LagAgent
