// Reading match entries back from the chip, and what the table traces.
#include <unistd.h>

#include <cstdlib>

#include "tests/BfLagGroup/TableWorld.h"
#include "tests/support/StatusMatrix.h"
#include "tests/support/TraceLines.h"

namespace table_test {
namespace {

class TableRead : public testing::Test, protected TableWorld {
  protected:
    LagGroupTableEntry read(U32 handle) const {
        return table->entryByHandle(RuxSdkEntryHandle(handle));
    }
};

TEST_F(TableRead, AnUnknownKeyReadsAsAnEmptyEntryWithoutACall) {
    EXPECT_TRUE(!table->entry(m));
    EXPECT_THAT(journal.lines(), IsEmpty());
    EXPECT_EQ(handles().entry().size(), 0u);
}

TEST_F(TableRead, AKeyReadsAsWhatTheChipHasUnderItsHandle) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{6, 127}, 10, true, false, 102, 0});
    const LagGroupTableEntry entry = table->entry(m);
    EXPECT_THAT(journal.lines(), ElementsAre(pdLine("get_entry", "entry=1000, fromHw=0")));
    ASSERT_TRUE(entry.match());
    EXPECT_EQ(entry.match()->egrMdEgrL2AintfUnresolved(), 6u);
    EXPECT_EQ(entry.match()->egrMdEgrL2AintfUnresolvedMask(), 127u);
    EXPECT_EQ(entry.memberOrGroup(), toMember(2));
}

TEST_F(TableRead, TheMatchIsAFreshObjectAtEachRead) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    const auto first = table->entry(m).match();
    const auto second = table->entry(m).match();
    EXPECT_NE(first, m);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->hasNotificationActive());
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
}

TEST_F(TableRead, ThePriorityReadsAsZeroWhateverItIs) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    EXPECT_EQ(table->entry(m).match()->priority(), 0u);
}

TEST_F(TableRead, AnEntryOfAGroupReadsAsTheGroupsId) {
    pd.entryReadsAs(1234, {{5, 255}, 10, false, true, 0, 220});
    const auto entry = read(1234);
    EXPECT_THAT(pd.calls(), ElementsAre(pdLine("get_entry", "entry=1234, fromHw=0")));
    EXPECT_EQ(entry.memberOrGroup(), toGroup(20));
}

TEST_F(TableRead, TheMemberFlagGoesBeforeTheGroupFlag) {
    pd.entryReadsAs(1234, {{5, 255}, 10, true, true, 101, 210});
    EXPECT_EQ(read(1234).memberOrGroup(), toMember(1));
}

TEST_F(TableRead, AMemberThatIsUnknownDoesNotReadAsTheGroup) {
    pd.entryReadsAs(1234, {{5, 255}, 10, true, true, 999, 210});
    EXPECT_EQ(read(1234).memberOrGroup(), LagGroupMemberOrGroupOrNone());
}

TEST_F(TableRead, WithNeitherFlagTheEntryPointsAtNothingButHasItsMatch) {
    pd.entryReadsAs(1234, {{5, 255}, 10, false, false, 101, 210});
    const auto entry = read(1234);
    ASSERT_TRUE(entry.match());
    EXPECT_EQ(entry.match()->egrMdEgrL2AintfUnresolved(), 5u);
    EXPECT_EQ(entry.memberOrGroup().id(), 0u);
    EXPECT_FALSE(entry.memberOrGroup().member());
    EXPECT_FALSE(!entry);
}

TEST_F(TableRead, HandlesThatTheMapsDoNotKnowReadAsNothing) {
    pd.entryReadsAs(1, {{5, 255}, 10, true, false, 210, 0});
    pd.entryReadsAs(2, {{5, 255}, 10, false, true, 0, 101});
    for (const U32 handle : {1u, 2u}) {
        const auto entry = read(handle);
        EXPECT_TRUE(entry.match());
        EXPECT_EQ(entry.memberOrGroup(), LagGroupMemberOrGroupOrNone());
    }
}

TEST_F(TableRead, OfTwoIdsWithOneHandleTheFirstInTheMapIsTaken) {
    handles().memberIs(RuxMemberId(8), RuxSdkMemberHandle(101));
    U32 first = 0;
    for (const auto& node : handles().member()) {
        if (node.value().value() == 101) {
            first = node.key().value();
            break;
        }
    }
    pd.entryReadsAs(1234, {{5, 255}, 10, true, false, 101, 0});
    EXPECT_EQ(read(1234).memberOrGroup(), toMember(first));
}

TEST_F(TableRead, AHandleOfZeroIsNobodys) {
    handles().memberIs(RuxMemberId(3), RuxSdkMemberHandle(0));
    handles().groupIs(RuxGroupId(30), RuxSdkGroupHandle(0));
    for (const bool isMember : {true, false}) {
        pd.entryReadsAs(1234, {{5, 255}, 10, isMember, !isMember, 0, 0});
        EXPECT_EQ(read(1234).memberOrGroup(), LagGroupMemberOrGroupOrNone()) << isMember;
    }
}

TEST_F(TableRead, TheDefaultEntryIsReadByItsHandleToo) {
    have(defaultMatch(), toGroup(10));
    pd.entryReadsAs(1000, {{0, 0}, 0, false, true, 0, 210});
    const auto entry = table->entry(defaultMatch());
    EXPECT_NE(entry.match(), defaultMatch());
    EXPECT_EQ(entry.memberOrGroup(), toGroup(10));
}

TEST_F(TableRead, AReadThatFailsIsSilentWhateverTheStatus) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    for (const auto readStatus : test_support::failingStatuses()) {
        pd.failNext(pdName("get_entry").c_str(), readStatus);
        EXPECT_TRUE(!table->entry(m)) << readStatus;
    }
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
    EXPECT_FALSE(!table->entry(m));
}

TEST_F(TableRead, ReadingTellsNeitherManager) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    table->entry(m);
    read(4242);
    EXPECT_EQ(journal.lines(), pd.calls());
    EXPECT_EQ(pd.calls().size(), 2u);
}

TEST_F(TableRead, TheGenericInterfaceReadsByHandleToo) {
    pd.entryReadsAs(1234, {{5, 255}, 10, true, false, 102, 0});
    const auto entry =
        Kel::attributeCall<LagGroupTableEntry>(table, "entryByHandle", RuxSdkEntryHandle(1234));
    EXPECT_EQ(entry.memberOrGroup(), toMember(2));
}

// ---- Traces
// --------------------------------------------------------------------------------------

class TableTrace : public testing::Test, protected TableWorld {
  protected:
    static std::string point(int level, const std::string& function, const std::string& text) {
        return std::to_string(level) + " bf_velmor_switch/kel/BfLagGroup/BfLagGroup " + function +
               ": " + text;
    }
    const std::string entryIs =
        point(9, "entryIs",
              "void BfLagGroup::LagGroupTable::entryIs(const BfLagGroup::LagGroupTableEntry&)");
    const std::string entryDel = point(
        9, "entryDel",
        "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entryDel(const PtrConst&)");
    const std::string entry = point(
        9, "entry",
        "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entry(const PtrConst&) const");
    const std::string entryByHandle = point(9, "entryByHandle", "entryByHandle");
};

TEST_F(TableTrace, EveryOperationTracesItsSignatureAtLevelNine) {
    test_support::TraceLines trace("BfLagGroup", 9);
    write(m, toMember(1));
    table->entry(m);
    table->entryByHandle(RuxSdkEntryHandle(1));
    table->entryDel(m);
    EXPECT_THAT(trace.texts(), ElementsAre(entryIs, entry, entryByHandle, entryByHandle, entryDel));
    for (const auto& line : trace.lines()) {
        EXPECT_EQ(line.facility, "BfLagGroup");
        EXPECT_GT(line.line, 0u);
    }
}

TEST_F(TableTrace, AMemberThatIsReadBackIsDetailedAtLevelEight) {
    have(m, toMember(1));
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 102, 210});
    test_support::TraceLines trace("BfLagGroup", 8);
    table->entry(m);
    EXPECT_THAT(trace.texts(),
                ElementsAre(point(8, "entryByHandle",
                                  "entryByHandle: sdkHandle=1000 mbr_hdl=102 memberId=2")));
}

TEST_F(TableTrace, AGroupThatIsReadBackIsDetailedAtLevelEight) {
    pd.entryReadsAs(1234, {{5, 255}, 10, false, true, 101, 210});
    test_support::TraceLines trace("BfLagGroup", 9);
    table->entryByHandle(RuxSdkEntryHandle(1234));
    EXPECT_THAT(
        trace.texts(),
        ElementsAre(entryByHandle, point(8, "entryByHandle",
                                         "entryByHandle: sdkHandle=1234 grp_hdl=210 groupId=10")));
}

TEST_F(TableTrace, AnEntryThatPointsAtNothingOrCannotBeReadHasNoDetail) {
    pd.entryReadsAs(1234, {{5, 255}, 10, false, false, 101, 210});
    test_support::TraceLines trace("BfLagGroup", 8);
    table->entryByHandle(RuxSdkEntryHandle(1234));
    table->entryByHandle(RuxSdkEntryHandle(4321));
    EXPECT_THAT(trace.texts(), IsEmpty());
}

TEST_F(TableTrace, BelowLevelEightTheTableIsSilent) {
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    test_support::TraceLines trace("BfLagGroup", 7);
    write(m, toMember(1));
    table->entry(m);
    table->entryDel(m);
    EXPECT_THAT(trace.texts(), IsEmpty());
}

TEST(TableTraceDeathTest, IsOffInANewProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    unsetenv("KEL_TRACE");
    EXPECT_EXIT(
        {
            TableWorld world;
            world.write(world.m, toMember(1));
            world.table->entry(world.m);
            _exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

} // namespace
} // namespace table_test
