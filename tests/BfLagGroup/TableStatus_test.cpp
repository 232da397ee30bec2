// Every status with which the chip can refuse a call of the match table: what is thrown, and what
// state the refusal leaves.
#include "tests/BfLagGroup/TableWorld.h"
#include "tests/support/StatusMatrix.h"

namespace table_test {
namespace {

using Site = test_support::PdSite<TableWorld>;
using Lines = test_support::Journal::Lines;

/// A write to the match table whose PD call is refused: the handle maps stay as they were, and the
/// managers have been told of the attempt.
struct RefusedWrite {
    const char* name;
    const char* operation;
    /// The PD call's arguments after the device.
    const char* arguments;
    /// What the managers are told before the call.
    Lines before;
    void (*prepare)(TableWorld&);
    void (*act)(TableWorld&);
};

const RefusedWrite kRefusedWrites[] = {
    {"AddToMember",
     "add_entry",
     "pipe=2, value=5, mask=255, priority=10, mbr=101",
     {"initStatus(m)", "alloc(m, false)"},
     [](TableWorld&) {},
     [](TableWorld& w) { w.write(w.m, toMember(1)); }},
    {"AddToGroup",
     "add_entry_with_selector",
     "pipe=2, value=5, mask=255, priority=10, grp=210",
     {"initStatus(m)", "alloc(m, false)"},
     [](TableWorld&) {},
     [](TableWorld& w) { w.write(w.m, toGroup(10)); }},
    {"ModifyToMember",
     "modify_entry",
     "entry=1000, mbr=102",
     {"initStatus(m)"},
     [](TableWorld& w) { w.have(w.m, toMember(1)); },
     [](TableWorld& w) { w.write(w.m, toMember(2)); }},
    {"ModifyToGroup",
     "modify_entry_with_selector",
     "entry=1000, grp=210",
     {"initStatus(m)"},
     [](TableWorld& w) { w.have(w.m, toMember(1)); },
     [](TableWorld& w) { w.write(w.m, toGroup(10)); }},
    {"FirstDefaultToMember",
     "set_default_entry",
     "pipe=2, mbr=101",
     {"initStatus(default)", "alloc(default, false)"},
     [](TableWorld&) {},
     [](TableWorld& w) { w.write(w.defaultMatch(), toMember(1)); }},
    {"NextDefaultToMember",
     "set_default_entry",
     "pipe=2, mbr=102",
     {"initStatus(default)", "alloc(default, false)"},
     [](TableWorld& w) { w.have(w.defaultMatch(), toMember(1)); },
     [](TableWorld& w) { w.write(w.defaultMatch(), toMember(2)); }},
    {"FirstDefaultToGroup",
     "set_default_entry_with_selector",
     "pipe=2, grp=210",
     {"initStatus(default)", "alloc(default, false)"},
     [](TableWorld&) {},
     [](TableWorld& w) { w.write(w.defaultMatch(), toGroup(10)); }},
    {"NextDefaultToGroup",
     "set_default_entry_with_selector",
     "pipe=2, grp=220",
     {"initStatus(default)", "alloc(default, false)"},
     [](TableWorld& w) { w.have(w.defaultMatch(), toMember(1)); },
     [](TableWorld& w) { w.write(w.defaultMatch(), toGroup(20)); }},
    {"Delete",
     "table_delete",
     "entry=1000",
     {"initStatus(m)"},
     [](TableWorld& w) { w.have(w.m, toMember(1)); },
     [](TableWorld& w) { w.table->entryDel(w.m); }},
    {"ResetDefault",
     "table_reset_default_entry",
     "pipe=2",
     {"initStatus(default)"},
     [](TableWorld& w) { w.have(w.defaultMatch(), toMember(1)); },
     [](TableWorld& w) { w.table->entryDel(w.defaultMatch()); }},
};

class TableStatus : public testing::TestWithParam<RefusedWrite> {};

TEST_P(TableStatus, IsThrownAsItsClassAndLeavesTheHandlesAsTheyWere) {
    const RefusedWrite& write = GetParam();
    const std::string function = pdName(write.operation);
    Handles handlesBefore;
    const Site site{write.name, function.c_str(),
                    [&](TableWorld& world) {
                        write.prepare(world);
                        handlesBefore = world.snapshot();
                    },
                    write.act,
                    [&](TableWorld& world) {
                        EXPECT_EQ(world.snapshot(), handlesBefore);
                        Lines expected = write.before;
                        expected.push_back(pdLine(write.operation, write.arguments));
                        EXPECT_EQ(world.journal.lines(), expected);
                    }};
    test_support::expectRefusals(site);
}

INSTANTIATE_TEST_SUITE_P(Writes, TableStatus, testing::ValuesIn(kRefusedWrites),
                         [](const auto& write) { return std::string(write.param.name); });

class TableFactoryStatus : public testing::Test {};

/// The factory's set-up; the live objects of its end are those of its start.
struct FactoryWorld : Platform {
    FactoryWorld() {
        keys->entries.recordIs({5, RuxSdkEntryHandle(1000)});
        live.restart();
    }
};

TEST_F(TableFactoryStatus, IsThrownAsItsClassAndLeavesNoTable) {
    const std::string function = pdName("set_property");
    const test_support::PdSite<FactoryWorld> site{
        "EntryScope", function.c_str(), [](FactoryWorld&) {},
        [](FactoryWorld& world) { world.makeTable(); },
        [](FactoryWorld& world) {
            EXPECT_THAT(world.journal.lines(),
                        ElementsAre(pdLine("set_property", "property=1, value=1")));
            EXPECT_THAT(world.live.growth(), IsEmpty());
        }};
    test_support::expectRefusals(site);
}

TEST(TableStatusExamples, AFullTableSaysSo) {
    TableWorld world;
    world.pd.failNext(pdName("add_entry").c_str(), 9);
    try {
        world.write(world.m, toMember(1));
        FAIL() << "nothing was thrown";
    } catch (const BfTable::BfTableFull& full) {
        EXPECT_STREQ(full.what(),
                     "p4_pd_velmor_switch_lagGroup_add_entry() failed: Not enough Space");
        EXPECT_EQ(full.status, 9u);
        EXPECT_EQ(full.id(), 1u);
    }
}

TEST(TableStatusExamples, AnEntryThatExistsSaysSo) {
    TableWorld world;
    world.pd.failNext(pdName("add_entry_with_selector").c_str(), 4);
    try {
        world.write(world.m, toGroup(10));
        FAIL() << "nothing was thrown";
    } catch (const BfTable::BfTableException& exists) {
        EXPECT_STREQ(exists.what(), "p4_pd_velmor_switch_lagGroup_add_entry_with_selector() "
                                    "failed: Object already exists");
        EXPECT_EQ(exists.status, 4u);
    }
}

TEST(TableStatusExamples, ARefusedModifyIsAModifyAgain) {
    TableWorld world;
    world.have(world.m, toMember(1));
    world.pd.failNext(pdName("modify_entry").c_str(), 18);
    EXPECT_THROW(world.write(world.m, toMember(2)), BfTable::BfTableException);
    world.forget();
    world.write(world.m, toMember(2));
    EXPECT_THAT(world.journal.lines(),
                ElementsAre("initStatus(m)", pdLine("modify_entry", "entry=1000, mbr=102")));
}

TEST(TableStatusExamples, ARefusedDeleteCanBeRepeated) {
    TableWorld world;
    world.have(world.m, toMember(1));
    world.pd.failNext(pdName("table_delete").c_str(), 10);
    EXPECT_THROW(world.table->entryDel(world.m), BfTable::BfTableException);
    EXPECT_EQ(world.entryHandle(world.m), 1000u);
    world.table->entryDel(world.m);
    EXPECT_EQ(world.pd.count(pdName("table_delete")), 2u);
    EXPECT_EQ(world.entryHandle(world.m), 0u);
}

} // namespace
} // namespace table_test
