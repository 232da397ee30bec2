// The fatal assertions of the match table: a caller has broken the order that it must keep.
#include "tests/BfLagGroup/TableWorld.h"

namespace table_test {
namespace {

using test_support::assertion;

constexpr const char* kEntryIs =
    "void BfLagGroup::LagGroupTable::entryIs(const BfLagGroup::LagGroupTableEntry&)";
constexpr const char* kEntryDel =
    "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entryDel(const PtrConst&)";
constexpr const char* kEntry =
    "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entry(const PtrConst&) const";

class TableDeathTest : public testing::Test, protected TableWorld {
  protected:
    TableDeathTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        journal.echoIs(true);
    }

    /// Has the entry without showing how it came.
    void have(const LagGroupMatchSpec::Ptr& match, const LagGroupMemberOrGroupOrNone& target) {
        journal.echoIs(false);
        TableWorld::have(match, target);
        journal.echoIs(true);
    }

    /// What the process writes at its end: the journal's lines, then the assertion and nothing
    /// more.
    static std::string ending(const std::string& journalLines, const std::string& assertion) {
        return "^" + test_support::escaped(journalLines) + assertion + "$";
    }
};

TEST_F(TableDeathTest, WritingAnEntryWithoutMatchIsFatalBeforeAnythingElse) {
    EXPECT_DEATH(write(nullptr, toMember(1)),
                 ending("", assertion("entry.match() != __null", kEntryIs)));
}

TEST_F(TableDeathTest, WritingIsTracedBeforeItsMatchIsLookedAt) {
    EXPECT_DEATH(
        {
            Kel::traceLevelIs("BfLagGroup", 9);
            write(nullptr, toMember(1));
        },
        "^[^\n]+ entryIs " + test_support::escaped(kEntryIs) + "\n" +
            assertion("entry.match() != __null", kEntryIs) + "$");
}

TEST_F(TableDeathTest, AddingToAMemberWithoutHandleIsFatalAfterStatusAndKey) {
    EXPECT_DEATH(write(m, toMember(3)),
                 ending("initStatus(m)\nalloc(m, false)\n", assertion("mbr_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, AddingToAGroupWithoutHandleIsFatalAfterStatusAndKey) {
    EXPECT_DEATH(write(m, toGroup(3)),
                 ending("initStatus(m)\nalloc(m, false)\n", assertion("grp_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, AMembersIdIsNoGroupsId) {
    EXPECT_DEATH(write(m, toGroup(1)), assertion("grp_hdl", kEntryIs));
    EXPECT_DEATH(write(m, toMember(10)), assertion("mbr_hdl", kEntryIs));
}

TEST_F(TableDeathTest, PointingAtNothingCountsAsAGroupWithoutHandle) {
    EXPECT_DEATH(write(m, LagGroupMemberOrGroupOrNone()), assertion("grp_hdl", kEntryIs));
}

TEST_F(TableDeathTest, RepointingAtAMemberWithoutHandleIsFatalWithoutAKey) {
    have(m, toMember(1));
    EXPECT_DEATH(write(m, toMember(3)), ending("initStatus(m)\n", assertion("mbr_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, RepointingAtAGroupWithoutHandleIsFatalWithoutAKey) {
    have(m, toMember(1));
    EXPECT_DEATH(write(m, toGroup(3)), ending("initStatus(m)\n", assertion("grp_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, ADefaultEntryToAMemberWithoutHandleIsFatalAfterStatusAndKey) {
    EXPECT_DEATH(
        write(defaultMatch(), toMember(3)),
        ending("initStatus(default)\nalloc(default, false)\n", assertion("mbr_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, ADefaultEntryToAGroupWithoutHandleIsFatalAfterStatusAndKey) {
    EXPECT_DEATH(
        write(defaultMatch(), toGroup(3)),
        ending("initStatus(default)\nalloc(default, false)\n", assertion("grp_hdl", kEntryIs)));
}

TEST_F(TableDeathTest, RemovingAnAbsentKeyIsFatalBeforeAnythingElse) {
    have(m, toMember(1));
    const auto twin = newMatch(5, 255, 10);
    const auto fatal = ending("", assertion("helper()->sdkHandles()->entry( match )", kEntryDel));
    EXPECT_DEATH(table->entryDel(twin), fatal);
    EXPECT_DEATH(table->entryDel(nullptr), fatal);
    EXPECT_DEATH(table->entryDel(defaultMatch()), fatal);
}

TEST_F(TableDeathTest, RemovingAKeyTwiceIsFatal) {
    have(m, toMember(1));
    table->entryDel(m);
    EXPECT_DEATH(table->entryDel(m),
                 assertion("helper()->sdkHandles()->entry( match )", kEntryDel));
}

TEST_F(TableDeathTest, AKeyWithHandleZeroCountsAsAbsent) {
    handles().entryIs(m, RuxSdkEntryHandle(0));
    EXPECT_DEATH(table->entryDel(m),
                 assertion("helper()->sdkHandles()->entry( match )", kEntryDel));
}

TEST_F(TableDeathTest, ReadingWithoutMatchIsFatal) {
    EXPECT_DEATH(table->entry(nullptr), ending("", assertion("match != __null", kEntry)));
}

} // namespace
} // namespace table_test
