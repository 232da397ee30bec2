#include "agent/restart/Recorder.h"

#include "BfLagGroup/Factories.h"
#include "agent/chip/PdLibrary.h"
#include "agent/restart/Records.h"
#include "agent/terms/Values.h"
#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using BfLagGroup::LagGroupMatchSpec;
using MbbGlimtKey::SharedKeyManager;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkEntryHandle;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

/// A table whose handles a recorder follows; nothing is written to the chip.
class RecorderTest : public testing::Test {
  protected:
    RecorderTest() { start(); }

    void start() {
        keys = new SharedKeyManager(
            place_.open(), {.entries = 8, .members = 8, .groups = 8, .context = {.chipBoot = 1}});
        table = lagGroupTableFactory(keys, nullptr, library_.handle(), library_.session(), 0,
                                     0xFFFF, library_.path().c_str());
        recorder.emplace(*table, keys);
    }
    /// Lets everything go and starts over what it left.
    void restart() {
        recorder.reset();
        table = nullptr;
        keys = nullptr;
        start();
    }

    BfLagGroup::LagGroupTableHandles& handles() const { return table->helper()->requiredHandles(); }
    Records records() const { return readRecords(*keys); }

    table_files::Place place_;
    PdLibrary library_{PD_VELMOR_SWITCH_LIBRARY};
    SharedKeyManager::Ptr keys;
    BfLagGroup::LagGroupTable::Ptr table;
    std::optional<Recorder> recorder;
};

TEST_F(RecorderTest, MemberAndGroupHandlesAreRecordedChangedAndDropped) {
    handles().memberIs(RuxMemberId(1), RuxSdkMemberHandle(11));
    handles().memberIs(RuxMemberId(2), RuxSdkMemberHandle(12));
    handles().groupIs(RuxGroupId(1), RuxSdkGroupHandle(21));
    EXPECT_THAT(records().members, UnorderedElementsAre(Pair(1, 11), Pair(2, 12)));
    EXPECT_THAT(records().groups, UnorderedElementsAre(Pair(1, 21)));
    handles().groupIs(RuxGroupId(1), RuxSdkGroupHandle(22));
    handles().memberDel(RuxMemberId(1));
    EXPECT_THAT(records().members, UnorderedElementsAre(Pair(2, 12)));
    EXPECT_THAT(records().groups, UnorderedElementsAre(Pair(1, 22)));
}

TEST_F(RecorderTest, EntryIsRecordedWithItsKeyUnderTheKeyReservedForIt) {
    const MatchKey key{0x10, 0xff, 7};
    const auto match = makeMatch(key);
    const auto reserved = keys->alloc(match, false);
    EXPECT_EQ(1u, records().reservations.size());
    handles().entryIs(match, RuxSdkEntryHandle(31));
    EXPECT_THAT(records().entries, testing::ElementsAre(Records::Entry{reserved, key, 31}));
    EXPECT_THAT(records().reservations, IsEmpty());
    handles().entryDel(match);
    EXPECT_THAT(records().entries, IsEmpty());
}

TEST_F(RecorderTest, DefaultEntryIsRecordedAsSuch) {
    handles().entryIs(table->defaultMatchSpec(), RuxSdkEntryHandle(31));
    ASSERT_EQ(1u, records().entries.size());
    EXPECT_EQ(std::nullopt, records().entries[0].name);
}

TEST_F(RecorderTest, EntryWithAllFieldsZeroIsNotTheDefaultEntry) {
    handles().entryIs(LagGroupMatchSpec::LagGroupMatchSpecIs(), RuxSdkEntryHandle(31));
    ASSERT_EQ(1u, records().entries.size());
    EXPECT_EQ((MatchKey{0, 0, 0}), records().entries[0].name);
}

TEST_F(RecorderTest, RestoredEntryKeepsThePriorityThatItsMatchObjectHasNot) {
    const MatchKey key{0x10, 0xff, 7};
    handles().entryIs(makeMatch(key), RuxSdkEntryHandle(31));
    const auto before = records().entries;
    restart();
    // The chip has no such entry; what restored it is given a match object as one that it has.
    const auto restored = makeMatch({0x10, 0xff, 0});
    keys->populate(before[0].key, restored);
    handles().entryIs(restored, RuxSdkEntryHandle(31));
    EXPECT_EQ(before, records().entries);
    handles().entryIs(restored, RuxSdkEntryHandle(32));
    EXPECT_THAT(records().entries, testing::ElementsAre(Records::Entry{before[0].key, key, 32}));
}

TEST_F(RecorderTest, NullMatchOfAStaleRecordIsNotRecorded) {
    handles().entryIs(nullptr, RuxSdkEntryHandle(31));
    EXPECT_THAT(records().entries, IsEmpty());
    EXPECT_FALSE(recorder->takeFailure());
}

TEST_F(RecorderTest, FailureToRecordLeavesTheChangeAndIsKeptOnce) {
    for (Kel::U32 id = 0; id < 8; ++id) {
        handles().memberIs(RuxMemberId(id), RuxSdkMemberHandle(100 + id));
    }
    EXPECT_FALSE(recorder->takeFailure());
    handles().memberIs(RuxMemberId(8), RuxSdkMemberHandle(108));
    EXPECT_EQ(108u, handles().member(RuxMemberId(8)).value());
    EXPECT_THAT(recorder->takeFailure(),
                testing::Optional(testing::HasSubstr("full: it has 8 records")));
    EXPECT_FALSE(recorder->takeFailure());
    EXPECT_EQ(8u, records().members.size());
}

} // namespace
} // namespace LagAgent
