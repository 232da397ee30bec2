// The fatal assertions of the two entry points.
#include "tests/BfLagGroup/TableWorld.h"

namespace table_test {
namespace {

using test_support::assertion;

constexpr const char* kTableFactory =
    "BfLagGroup::LagGroupTable::Ptr lagGroupTableFactory(MbbGlimtKey::GlimtKeyManager::Ptr, "
    "RuxTableStatusManager::StatusManager::Ptr, Kel::VoidPtr, U32, U8, U16, Kel::Name)";
constexpr const char* kProfileFactory = "BfLagGroup::LagGroupActionProfile::Ptr "
                                        "lagGroupActionProfileFactory(BfLagGroup::LagGroupTable::"
                                        "Ptr)";

class FactoriesDeathTest : public testing::Test, protected Platform {
  protected:
    FactoriesDeathTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        journal.echoIs(true);
    }

    /// What the process writes at its end: the journal's lines, then the assertion and nothing
    /// more.
    static std::string ending(const std::string& journalLines, const std::string& assertion) {
        return "^" + test_support::escaped(journalLines) + assertion + "$";
    }

    /// A table made without a word.
    LagGroupTable::Ptr silentTable() {
        journal.echoIs(false);
        const auto table = makeTable();
        journal.echoIs(true);
        return table;
    }
};

TEST_F(FactoriesDeathTest, ATableWithoutLibraryNameIsFatalBeforeAnyCall) {
    EXPECT_DEATH(lagGroupTableFactory(keys, status, pd.dlHandle(), kSession, kDevice, kPipe, ""),
                 ending("", assertion("pdLibPath", kTableFactory)));
}

TEST_F(FactoriesDeathTest, AKeyManagerWithoutItsTableOfEntriesIsFatalAfterTheEntryScope) {
    keys->hasEntries = false;
    EXPECT_DEATH(makeTable(),
                 ending(pdLine("set_property", "property=1, value=1") + "\n",
                        assertion("glimtKeyManager->mbbGlimtTableConfig()", kTableFactory)));
}

TEST_F(FactoriesDeathTest, AKeyManagerWithoutItsTableOfMembersIsFatal) {
    const auto table = silentTable();
    keys->hasMembers = false;
    EXPECT_DEATH(lagGroupActionProfileFactory(table),
                 ending("", assertion("matTable->glimtKeyManager()->adtGlimtTableConfig()",
                                      kProfileFactory, 82)));
}

TEST_F(FactoriesDeathTest, AKeyManagerWithoutItsTableOfGroupsIsFatalAfterTheMembers) {
    const auto table = silentTable();
    keys->hasGroups = false;
    keys->members.recordIs({31, RuxSdkMemberHandle(101)});
    EXPECT_DEATH(
        lagGroupActionProfileFactory(table),
        ending("anonId(31)\n", assertion("matTable->glimtKeyManager()->selGrpGlimtTableConfig()",
                                         kProfileFactory, 91)));
}

TEST_F(FactoriesDeathTest, AProfileWithoutTableIsFatal) {
    EXPECT_DEATH(lagGroupActionProfileFactory(nullptr),
                 ending("", assertion("matTable", kProfileFactory)));
}

TEST_F(FactoriesDeathTest, WithoutAKeyManagerItsTablesAreNotAskedFor) {
    journal.echoIs(false);
    keys = nullptr;
    EXPECT_TRUE(makeTable());
}

} // namespace
} // namespace table_test
