// Writing and removing match entries: which PD call is made, with what, in which order, and what
// the handle maps hold afterwards.
#include "driver-status/BfTableException.h"
#include "tests/BfLagGroup/TableWorld.h"
#include "tests/support/Followers.h"

namespace table_test {
namespace {

class TableEntryIs : public testing::Test, protected TableWorld {};

TEST_F(TableEntryIs, ANewKeyToAMemberIsAddedAfterItsStatusAndItsKey) {
    write(m, toMember(1));
    EXPECT_THAT(
        journal.lines(),
        ElementsAre("initStatus(m)", "alloc(m, false)",
                    pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
}

TEST_F(TableEntryIs, ANewKeyToAGroupIsAddedAfterItsStatusAndItsKey) {
    write(m, toGroup(20));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(m)", "alloc(m, false)",
                            pdLine("add_entry_with_selector",
                                   "pipe=2, value=5, mask=255, priority=10, grp=220")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
}

TEST_F(TableEntryIs, APresentKeyIsRepointedAtAMemberWithoutANewKey) {
    have(m, toMember(1));
    write(m, toMember(2));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(m)", pdLine("modify_entry", "entry=1000, mbr=102")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
}

TEST_F(TableEntryIs, APresentKeyIsRepointedAtAGroupWithoutANewKey) {
    have(m, toGroup(10));
    write(m, toGroup(20));
    EXPECT_THAT(journal.lines(), ElementsAre("initStatus(m)", pdLine("modify_entry_with_selector",
                                                                     "entry=1000, grp=220")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
}

TEST_F(TableEntryIs, AKeyGoesFromAMemberToAGroupAndBackOnTheSameHandle) {
    have(m, toMember(1));
    write(m, toGroup(10));
    write(m, toMember(2));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(m)",
                            pdLine("modify_entry_with_selector", "entry=1000, grp=210"),
                            "initStatus(m)", pdLine("modify_entry", "entry=1000, mbr=102")));
    EXPECT_EQ(entryHandle(m), 1000u);
}

TEST_F(TableEntryIs, WritingTheSameEntryAgainIsStillOneModify) {
    have(m, toMember(1));
    write(m, toMember(1));
    EXPECT_THAT(pd.calls(), ElementsAre(pdLine("modify_entry", "entry=1000, mbr=101")));
}

TEST_F(TableEntryIs, TheDefaultEntryIsSetToAMemberAfterItsStatusAndItsKey) {
    write(defaultMatch(), toMember(2));
    EXPECT_THAT(journal.lines(), ElementsAre("initStatus(default)", "alloc(default, false)",
                                             pdLine("set_default_entry", "pipe=2, mbr=102")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("default", 1000u)));
}

TEST_F(TableEntryIs, TheDefaultEntryIsSetToAGroupAfterItsStatusAndItsKey) {
    write(defaultMatch(), toGroup(10));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(default)", "alloc(default, false)",
                            pdLine("set_default_entry_with_selector", "pipe=2, grp=210")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("default", 1000u)));
}

TEST_F(TableEntryIs, WritingTheDefaultEntryTwiceSetsItTwiceAndOverwritesTheHandle) {
    have(defaultMatch(), toMember(1));
    write(defaultMatch(), toMember(1));
    EXPECT_THAT(journal.lines(), ElementsAre("initStatus(default)", "alloc(default, false)",
                                             pdLine("set_default_entry", "pipe=2, mbr=101")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("default", 1001u)));

    forget();
    write(defaultMatch(), toGroup(20));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(default)", "alloc(default, false)",
                            pdLine("set_default_entry_with_selector", "pipe=2, grp=220")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("default", 1002u)));
}

TEST_F(TableEntryIs, AnotherMatchSpecWithAllFieldsZeroIsAnOrdinaryKey) {
    const auto zero = LagGroupMatchSpec::LagGroupMatchSpecIs();
    journal.nameIs(zero.ptr(), "zero");
    write(zero, toMember(1));
    write(zero, toMember(2));
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(zero)", "alloc(zero, false)",
                            pdLine("add_entry", "pipe=2, value=0, mask=0, priority=0, mbr=101"),
                            "initStatus(zero)", pdLine("modify_entry", "entry=1000, mbr=102")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("zero", 1000u)));
}

TEST_F(TableEntryIs, TheFormerDefaultMatchSpecIsAnOrdinaryKey) {
    const auto former = table->defaultMatchSpecDel();
    write(former, toMember(1));
    EXPECT_THAT(pd.calls(),
                ElementsAre(pdLine("add_entry", "pipe=2, value=0, mask=0, priority=0, mbr=101")));
}

TEST_F(TableEntryIs, MatchSpecsWithEqualFieldsAreTwoKeys) {
    const auto twin = newMatch(5, 255, 10);
    journal.nameIs(twin.ptr(), "twin");
    write(m, toMember(1));
    write(twin, toMember(1));
    EXPECT_EQ(pd.count(pdName("add_entry")), 2u);
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u), Pair("twin", 1001u)));
}

TEST_F(TableEntryIs, TheWidestFieldsReachTheChipWhole) {
    write(newMatch(0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD), toMember(1));
    EXPECT_THAT(pd.calls(),
                ElementsAre(pdLine("add_entry", "pipe=2, value=4294967295, mask=4294967294, "
                                                "priority=4294967293, mbr=101")));
}

TEST_F(TableEntryIs, EveryCallRunsInTheSessionThatThePdInterfaceHasByThen) {
    write(m, toMember(1));
    table->helper()->pdLibIs("librecording_pd.so", pd.dlHandle(), 8);
    forget();
    pd.entryReadsAs(1000, {{5, 255}, 10, true, false, 101, 0});
    write(m, toMember(2));
    table->entry(m);
    table->entryDel(m);
    write(m, toGroup(10));
    write(defaultMatch(), toMember(1));
    write(defaultMatch(), toGroup(10));
    table->entryDel(defaultMatch());
    EXPECT_EQ(pd.calls().size(), 7u);
    EXPECT_THAT(pd.calls(), testing::Each(testing::HasSubstr("(session=8, ")));
}

TEST_F(TableEntryIs, TheTargetNamesAllPipesWhenTheTableIsMadeForAll) {
    const auto everywhere = makeTable(0xFFFF);
    everywhere->helper()->sdkHandlesIs()->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    forget();
    everywhere->entryIs({m, toMember(1)});
    EXPECT_THAT(pd.calls(), ElementsAre(pdLine("add_entry", "pipe=65535, value=5, mask=255, "
                                                            "priority=10, mbr=101")));
}

TEST_F(TableEntryIs, WithoutAKeyManagerEntriesAreWrittenAndNoKeyIsAllocated) {
    keys = nullptr;
    const auto keyless = makeTable();
    keyless->helper()->sdkHandlesIs()->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    forget();
    keyless->entryIs({m, toMember(1)});
    keyless->entryIs({keyless->defaultMatchSpec(), toMember(1)});
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(m)",
                            pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101"),
                            "initStatus(0/0/0)", pdLine("set_default_entry", "pipe=2, mbr=101")));
}

TEST_F(TableEntryIs, WithoutAStatusManagerEntriesAreWrittenAndRemovedWithoutStatus) {
    status = nullptr;
    const auto statusless = makeTable();
    statusless->helper()->sdkHandlesIs()->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    pd.handleIs(kFirstEntryHandle);
    forget();
    statusless->entryIs({m, toMember(1)});
    statusless->entryDel(m);
    EXPECT_THAT(journal.lines(),
                ElementsAre("alloc(m, false)",
                            pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101"),
                            pdLine("table_delete", "entry=1000")));
}

TEST_F(TableEntryIs, RemovingAnEntryDeletesItByItsHandleAndReturnsAnEmptyEntry) {
    have(m, toMember(1));
    const LagGroupTableEntry removed = table->entryDel(m);
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(m)", pdLine("table_delete", "entry=1000")));
    EXPECT_THAT(snapshot().entries, IsEmpty());
    EXPECT_FALSE(removed.match());
    EXPECT_EQ(removed.memberOrGroup().id(), 0u);
    EXPECT_FALSE(removed.memberOrGroup().member());
    EXPECT_TRUE(!removed);
}

TEST_F(TableEntryIs, RemovingTheDefaultEntryRestoresTheBuiltInOneAndReturnsAnEmptyEntry) {
    have(m, toMember(1));
    have(defaultMatch(), toGroup(10));
    const LagGroupTableEntry removed = table->entryDel(defaultMatch());
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(default)", pdLine("table_reset_default_entry", "pipe=2")));
    EXPECT_THAT(snapshot().entries, ElementsAre(Pair("m", 1000u)));
    EXPECT_TRUE(!removed);
}

TEST_F(TableEntryIs, AKeyThatWasRemovedIsAddedAnew) {
    have(m, toMember(1));
    table->entryDel(m);
    forget();
    write(m, toMember(1));
    EXPECT_THAT(
        journal.lines(),
        ElementsAre("initStatus(m)", "alloc(m, false)",
                    pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101")));
    EXPECT_EQ(entryHandle(m), 1001u);
}

TEST_F(TableEntryIs, AnAddThatFailedIsAnAddAgain) {
    pd.failNext(pdName("add_entry").c_str(), 4);
    EXPECT_THROW(write(m, toMember(1)), BfTable::BfTableException);
    forget();
    write(m, toMember(1));
    EXPECT_THAT(
        journal.lines(),
        ElementsAre("initStatus(m)", "alloc(m, false)",
                    pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101")));
}

TEST_F(TableEntryIs, TheHandleMapsAreLeftAloneButForTheWrittenKey) {
    const Handles before = snapshot();
    write(m, toMember(1));
    write(defaultMatch(), toGroup(10));
    table->entryDel(m);
    table->entryDel(defaultMatch());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(TableEntryIs, AnEntryThatComesOrGoesIsAnnouncedByTheHandleMapsAndAChangeIsNot) {
    test_support::FollowerOf<LagGroupMatchSpec::PtrConst> follower(handles());
    using Notice = test_support::Notice<LagGroupMatchSpec::PtrConst>;
    const Notice aboutM{258, m};
    write(m, toMember(1));
    EXPECT_THAT(follower.take(), ElementsAre(aboutM));
    write(m, toGroup(10));
    EXPECT_THAT(follower.take(), IsEmpty());
    table->entryDel(m);
    EXPECT_THAT(follower.take(), ElementsAre(aboutM));
}

TEST_F(TableEntryIs, TheTableHoldsTheMatchSpecWhileTheEntryIsPresentAndNoLonger) {
    test_support::LiveObjects aroundEntry;
    {
        const auto match = newMatch(9, 255, 1);
        have(match, toMember(1));
    }
    EXPECT_THAT(aroundEntry.growth(), ElementsAre(Pair("LagGroupMatchSpec", 1)));
    handles().entryDelAll();
    EXPECT_THAT(aroundEntry.growth(), IsEmpty());
}

class TableDefaultMatchSpec : public testing::Test, protected TableWorld {};

TEST_F(TableDefaultMatchSpec, IsOneObjectWithAllFieldsZeroForTheTablesLife) {
    const auto spec = table->defaultMatchSpec();
    ASSERT_TRUE(spec);
    EXPECT_EQ(spec->egrMdEgrL2AintfUnresolved(), 0u);
    EXPECT_EQ(spec->egrMdEgrL2AintfUnresolvedMask(), 0u);
    EXPECT_EQ(spec->priority(), 0u);
    EXPECT_TRUE(spec->hasNotificationActive());
    EXPECT_EQ(table->defaultMatchSpecIs(), spec);
    EXPECT_EQ(table->defaultMatchSpec(), spec);
}

TEST_F(TableDefaultMatchSpec, IsHandedBackWhenRemovedAndMadeAnewOnDemand) {
    const auto first = table->defaultMatchSpec();
    EXPECT_EQ(table->defaultMatchSpecDel(), first);
    EXPECT_FALSE(table->defaultMatchSpec());
    EXPECT_FALSE(table->defaultMatchSpecDel());
    const auto second = table->defaultMatchSpecIs();
    EXPECT_TRUE(second);
    EXPECT_NE(second, first);
    EXPECT_EQ(table->defaultMatchSpec(), second);
}

TEST_F(TableDefaultMatchSpec, IsAnnouncedWhenItComesAndGoesAndOnlyThen) {
    test_support::Follower follower(*table);
    using Notice = test_support::Notice<Kel::U32>;
    table->defaultMatchSpecIs();
    EXPECT_THAT(follower.take(), IsEmpty());
    table->defaultMatchSpecDel();
    EXPECT_THAT(follower.take(), ElementsAre(Notice{262, std::nullopt}));
    table->defaultMatchSpecDel();
    EXPECT_THAT(follower.take(), IsEmpty());
    table->defaultMatchSpecIs();
    EXPECT_THAT(follower.take(), ElementsAre(Notice{262, std::nullopt}));
}

TEST_F(TableDefaultMatchSpec, WhenThereIsNoneIsNotTheNullMatchOfAStaleRecord) {
    handles().entryIs(nullptr, RuxSdkEntryHandle(77)); // as a restart leaves it
    table->defaultMatchSpecDel();
    forget();
    table->entryDel(nullptr);
    EXPECT_THAT(pd.calls(), ElementsAre(pdLine("table_delete", "entry=77")));
    EXPECT_EQ(handles().entry().size(), 0u);
}

} // namespace
} // namespace table_test
