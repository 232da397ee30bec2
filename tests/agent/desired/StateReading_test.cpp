#include "agent/desired/StateReading.h"

#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;

/// SQL on a database that holds `someState`, and what reading it then says.
struct Wrong {
    const char* name;
    const char* sql;
    const char* complaint;
};

const Wrong kWrong[]{
    {"MemberIdTooLarge", "INSERT INTO members VALUES(4294967296, 'setLagPort', 0)",
     "the id of member 4294967296, 4294967296, is out of range (0 to 4294967295)"},
    {"MemberIdNegative", "INSERT INTO members VALUES(-1, 'setLagPort', 0)",
     "the id of member -1, -1, is out of range (0 to 4294967295)"},
    {"PortTooLarge", "UPDATE members SET port = 65536 WHERE id = 1",
     "the port of member 1, 65536, is out of range (0 to 65535)"},
    {"PortNegative", "UPDATE members SET port = -9223372036854775808 WHERE id = 1",
     "the port of member 1, -9223372036854775808, is out of range (0 to 65535)"},
    {"MemberActionUnknown", "UPDATE members SET action = 'setNothing' WHERE id = 1",
     "the action of member 1, 'setNothing', is unknown"},
    {"GroupIdTooLarge", "INSERT INTO selector_groups VALUES(9999999999, 1, 1, 'setLagPort')",
     "the id of group 9999999999, 9999999999, is out of range (0 to 4294967295)"},
    {"SizeZero", "UPDATE selector_groups SET size = 0",
     "the size of group 10, 0, is out of range (1 to 65535)"},
    {"SizeTooLarge", "UPDATE selector_groups SET size = 65536",
     "the size of group 10, 65536, is out of range (1 to 65535)"},
    {"InitialTooLarge", "UPDATE selector_groups SET initial = 4294967296",
     "the initial member of group 10, 4294967296, is out of range (0 to 4294967295)"},
    {"GroupActionUnknown", "UPDATE selector_groups SET action = ''",
     "the action of group 10, '', is unknown"},
    {"ActiveIsNeither", "UPDATE group_members SET active = 2 WHERE member_id = 2",
     "the active of member 2 in group 10, 2, is out of range (0 to 1)"},
    {"MembershipOfNoGroup", "INSERT INTO group_members VALUES(11, 1, 1)",
     "there is member 1 in group 11, but no group 11"},
    {"MembershipOfNoMember", "INSERT INTO group_members VALUES(10, 5, 1)",
     "there is member 5 in group 10, but no member 5"},
    {"MembershipOfAnotherAction", "INSERT INTO group_members VALUES(10, 4294967295, 1)",
     "member 4294967295 in group 10 carries setTunnelInfo, but the group takes setLagPort only"},
    {"EmptyGroup", "DELETE FROM group_members", "group 10 has no members"},
    {"GroupWithMoreMembersThanItIsFor",
     "INSERT INTO members SELECT id + 100, action, port FROM members WHERE id < 10;"
     "INSERT INTO group_members SELECT 10, id, 1 FROM members WHERE id > 100 AND id < 200;"
     "UPDATE selector_groups SET size = 1",
     "group 10 has 4 members, and is for 1"},
    {"DefaultIsNeither", "INSERT INTO entries VALUES(2, 0, 0, 0, 1, NULL)",
     "the is_default of an entry, 2, is out of range (0 to 1)"},
    {"DefaultWithAKey", "INSERT INTO entries VALUES(1, 5, 0, 0, 1, NULL)",
     "the value of the default entry, 5, is out of range (0 to 0)"},
    {"ValueTooLarge", "INSERT INTO entries VALUES(0, 4294967296, 0, 0, 1, NULL)",
     "the value of an entry, 4294967296, is out of range (0 to 4294967295)"},
    {"MaskNegative", "INSERT INTO entries VALUES(0, 1, -5, 0, 1, NULL)",
     "the mask of an entry, -5, is out of range (0 to 4294967295)"},
    {"PriorityTooLarge", "INSERT INTO entries VALUES(0, 1, 1, 4294967296, 1, NULL)",
     "the priority of an entry, 4294967296, is out of range (0 to 4294967295)"},
    {"EntryForNothing", "INSERT INTO entries VALUES(0, 1, 1, 0, NULL, NULL)",
     "the entry value 0x1 mask 0x1 priority 0 points at nothing"},
    {"EntryForBoth", "INSERT INTO entries VALUES(0, 1, 1, 0, 1, 10)",
     "the entry value 0x1 mask 0x1 priority 0 points at a member and a group at once"},
    {"EntryForNoMember", "UPDATE entries SET member_id = 10 WHERE is_default",
     "the default entry points at member 10, which is not there"},
    {"EntryForNoGroup", "UPDATE entries SET group_id = 1 WHERE NOT is_default",
     "the entry value 0xffffffff mask 0xff priority 7 points at group 1, which is not there"},
    {"EntryForAnIdTooLarge", "UPDATE entries SET member_id = 4294967296 WHERE is_default",
     "the target of the default entry, 4294967296, is out of range (0 to 4294967295)"},
};

class WrongState : public testing::TestWithParam<Wrong> {};

TEST_P(WrongState, IsRefusedWithWhatIsWrong) {
    const table_files::Place place;
    {
        StateDatabase database(place.open(), kScope);
        write(database, someState());
        database.commit();
    }
    const auto file = place.file("desired.db");
    byHand(file, GetParam().sql);
    const StateDatabase database(place.open(), kScope);
    EXPECT_EQ(file.string() + ": refused: " + GetParam().complaint,
              storageErrorOf([&] { database.read(); }));
}

INSTANTIATE_TEST_SUITE_P(ByHand, WrongState, testing::ValuesIn(kWrong),
                         [](const auto& test) { return test.param.name; });

TEST(StateReading, ADamagedFileIsRefused) {
    const table_files::Place place;
    {
        StateDatabase database(place.open(), kScope);
        for (std::uint32_t id = 0; id < 2000; ++id) {
            database.memberIs(RuxTable::RuxMemberId(id), {kSetLagPort, 1});
        }
        database.commit();
    }
    const auto file = place.file("desired.db");
    std::string bytes = table_files::contentOf(file);
    ASSERT_GT(bytes.size(), 12 * 4096u);
    // Of the members' pages, which are behind those that the empty database has.
    bytes.replace(bytes.size() - 4 * 4096, 2 * 4096, 2 * 4096, '\xA5');
    table_files::contentIs(file, bytes);
    const StateDatabase database(place.open(), kScope);
    EXPECT_THAT(storageErrorOf([&] { database.read(); }), HasSubstr("refused: it is damaged: "));
}

/// The pages and all values are good.
TEST(StateReading, AValueThatWasNeverCommittedIsRefused) {
    const table_files::Place place;
    {
        StateDatabase database(place.open(), kScope);
        write(database, someState());
        database.commit();
    }
    const auto file = place.file("desired.db");
    std::string bytes = table_files::contentOf(file);
    const auto at = bytes.find("setLagPort\x0b");
    ASSERT_NE(std::string::npos, at);
    bytes[at + 10] = static_cast<char>(bytes[at + 10] ^ 4); // the port behind the action
    table_files::contentIs(file, bytes);
    const StateDatabase database(place.open(), kScope);
    EXPECT_THAT(storageErrorOf([&] { database.read(); }),
                HasSubstr("refused: its content is not what was committed"));
}

TEST(StateReading, AGroupMayHaveLostTheMemberItWasMadeWith) {
    const table_files::Place place;
    StateDatabase database(place.open(), kScope);
    DesiredState state = someState();
    state.groups[10].members.erase(1);
    state.members.erase(1);
    write(database, state);
    EXPECT_EQ(state, database.read());
}

} // namespace
} // namespace LagAgent
