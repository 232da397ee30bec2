#include "agent/restart/Mending.h"

#include "tests/agent/restart/Worlds.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEntry = "entry value 0x10 mask 0xff priority 5";

/// The writes with which a group is made that holds members 1 and 2, the latter inactive.
std::vector<std::string> madeAnd(std::vector<std::string> rest) {
    rest.insert(rest.begin(), {"create_group group 10", "add_member_to_group group 10: member 1",
                               "add_member_to_group group 10: member 2",
                               "group_member_state_set group 10: member 2"});
    return rest;
}

TEST(Mending, EmptyChipIsFilledMembersFirstEntriesLast) {
    World world;
    world.records = {};
    world.chip.members.clear();
    world.chip.groups.clear();
    world.chip.entries.clear();
    world.chip.usage.groups = world.chip.usage.members = 0;
    auto expected = madeAnd({"add_entry_with_selector " + kEntry});
    expected.insert(expected.begin(),
                    {"add_member_with_setLagPort member 1", "add_member_with_setLagPort member 2"});
    EXPECT_EQ(expected, world.steps());
}

TEST(Mending, NothingDesiredRemovesEntriesThenGroupsThenMembers) {
    World world;
    world.desired = {};
    EXPECT_THAT(world.steps(),
                ElementsAre("table_delete " + kEntry, "del_group chip group 110",
                            "del_member chip member 101", "del_member chip member 102"));
}

TEST(Mending, MemberIsChangedInPlaceWhateverItsNewAction) {
    World world;
    world.chip.members.at(101).port = 8;
    EXPECT_THAT(world.steps(), ElementsAre("modify_member_with_setLagPort member 1"));
    world.desired.members.at(1).type = kSetTunnelInfo;
    EXPECT_THAT(world.steps(), ElementsAre("modify_member_with_setTunnelInfo member 1"));
}

TEST(Mending, PortOfAnActionThatTakesNoneIsNoDifference) {
    World world;
    world.desired.members[3] = {kSetTunnelInfo, 77};
    world.records.members[3] = 103;
    world.chip.members[103] = {P4_PD_ACTION_setTunnelInfo, 0};
    EXPECT_THAT(world.steps(), IsEmpty());
}

// ---- Groups in place ---------------------------------------------------------------------------

TEST(Mending, WhoShouldNotBeActiveStopsFirstOfAllWhereAnotherOneCarriesFlows) {
    World world;
    world.chip.groups.at(110).members.at(102) = true;
    world.chip.members.at(101).port = 8;
    EXPECT_THAT(world.steps(), ElementsAre("group_member_state_set group 10: member 2",
                                           "modify_member_with_setLagPort member 1"));
    world.chip.groups.at(110).members = {{101, true}, {102, false}, {103, true}};
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 3};
    EXPECT_THAT(world.steps(), ElementsAre("del_member_from_group group 10: chip member 103",
                                           "modify_member_with_setLagPort member 1",
                                           "del_member chip member 103"));
}

TEST(Mending, LastOneThatCarriesFlowsStopsWhenAnotherOneDoes) {
    World world;
    world.chip.groups.at(110).members = {{101, false}, {102, true}};
    EXPECT_THAT(world.steps(), ElementsAre("group_member_state_set group 10: member 1",
                                           "group_member_state_set group 10: member 2"));
    // Unless none is to carry any.
    world.desired.groups.at(10).members = {{1, false}, {2, false}};
    EXPECT_THAT(world.steps(), ElementsAre("group_member_state_set group 10: member 2"));
}

TEST(Mending, MemberOfWhomNobodyKnowsLeavesWhenTheOneThatBelongsThereHasJoined) {
    World world;
    world.desired.groups.at(10).members = {{1, true}};
    world.chip.groups.at(110).members = {{102, true}};
    // In common with the desired ones it has nobody, but no record says that it is another group.
    world.records.members.erase(1);
    world.records.entries.clear();
    EXPECT_THAT(world.steps(), ElementsAre("add_member_to_group group 10: member 1",
                                           "del_member_from_group group 10: chip member 102"));
}

TEST(Mending, FullGroupLetsOneGoBeforeAnotherJoins) {
    World world;
    world.desired.members[3] = {kSetLagPort, 3};
    world.desired.groups.at(10) = {2, 1, kSetLagPort, {{1, true}, {3, true}}};
    world.records.members[3] = 103;
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 3};
    world.chip.groups.at(110) = {.size = 2, .members = {{101, true}, {102, false}}};
    EXPECT_THAT(world.steps(), ElementsAre("del_member_from_group group 10: chip member 102",
                                           "add_member_to_group group 10: member 3"));
}

TEST(Mending, MemberThatIsToBeInactiveJoinsWhereNothingPoints) {
    World world;
    world.chip.groups.at(110).members.erase(102);
    EXPECT_EQ(madeAnd({"modify_entry_with_selector " + kEntry, "del_group chip group 110"}),
              world.steps());
    // Nothing points at the old group: it serves.
    world.chip.entries.at(120).target = {101, false};
    EXPECT_THAT(world.steps(), ElementsAre("add_member_to_group group 10: member 2",
                                           "group_member_state_set group 10: member 2",
                                           "modify_entry_with_selector " + kEntry));
}

// ---- Groups beside -----------------------------------------------------------------------------

TEST(Mending, GroupOfAnotherSizeIsMadeAnewBesideTheOldOne) {
    World world;
    world.chip.groups.at(110).size = 3;
    EXPECT_EQ(madeAnd({"modify_entry_with_selector " + kEntry, "del_group chip group 110"}),
              world.steps());
}

TEST(Mending, GroupAtWhichNothingPointsGoesBeforeTheNewOneComes) {
    World world;
    world.chip.groups.at(110).size = 3;
    world.chip.usage.group_capacity = 1;
    world.desired.entries.clear();
    world.records.entries.clear();
    world.chip.entries.clear();
    auto expected = madeAnd({});
    expected.insert(expected.begin(), "del_group chip group 110");
    EXPECT_EQ(expected, world.steps());
}

TEST(Mending, OneFreeGroupIsEnoughForAnyNumber) {
    World world;
    world.desired.groups[20] = {4, 1, kSetLagPort, {{1, true}}};
    world.records.groups[20] = 111;
    world.chip.groups.at(110).size = 3;
    world.chip.groups[111] = {.size = 3, .members = {{101, true}}};
    world.desired.entries[MatchKey{0x20, 0xff, 5}] = toGroup(20);
    world.records.entries.push_back(
        {.key = 0x600000000, .name = MatchKey{0x20, 0xff, 5}, .handle = 121});
    world.chip.entries[121] = {.name = MatchKey{0x20, 0xff, 5}, .target = {111, true}};
    world.chip.usage.groups = 2;
    world.chip.usage.group_capacity = 3;
    auto expected = madeAnd({"modify_entry_with_selector " + kEntry, "del_group chip group 110",
                             "create_group group 20", "add_member_to_group group 20: member 1",
                             "modify_entry_with_selector entry value 0x20 mask 0xff priority 5",
                             "del_group chip group 111"});
    EXPECT_EQ(expected, world.steps());
}

TEST(Mending, WithoutAFreeGroupTheOldOneIsMendedAsFarAsItCanBe) {
    World world;
    world.chip.usage.group_capacity = 1;
    world.chip.groups.at(110).members.erase(102);
    EXPECT_THAT(world.findings(),
                ElementsAre("wrong members: group 10: member 2 is not in it: left so, since no "
                            "group is free (0)"));
    world.desired.members[3] = {kSetLagPort, 3};
    world.desired.groups.at(10).members[3] = true;
    EXPECT_THAT(world.steps(), ElementsAre("add_member_with_setLagPort member 3",
                                           "add_member_to_group group 10: member 3"));
}

TEST(Mending, UnwantedGroupMakesRoom) {
    World world;
    world.chip.groups.at(110).members.erase(102);
    world.chip.groups[111] = {.size = 9, .members = {}};
    world.chip.usage.groups = world.chip.usage.group_capacity = 2;
    auto expected = madeAnd({"modify_entry_with_selector " + kEntry, "del_group chip group 110"});
    expected.insert(expected.begin(), "del_group chip group 111");
    EXPECT_EQ(expected, world.steps());
    EXPECT_THAT(world.findings(),
                ElementsAre("orphan: chip group 111: nobody recorded it (1)",
                            "wrong members: group 10: member 2 is not in it (6)"));
}

/// Group 10 was deleted after a copy that was put back, and its entry went over to group 9.
TEST(Mending, GroupOfAnUndesiredIdServesWhereItsEntryPointsAtIt) {
    World world;
    world.records.groups = {{9, 110}};
    world.chip.usage.group_capacity = 1;
    EXPECT_THAT(world.findings(), ElementsAre("unrecorded: group 10: chip group 110 serves (0)"));
}

TEST(Mending, EntriesLeaveAnUnwantedGroupWhereAMissingOneLacksRoom) {
    World world;
    world.desired.entries = {{kKey, toMember(1)}};
    world.records.groups = {{9, 110}};
    world.chip.groups.at(110) = {.size = 7, .members = {{101, true}}};
    world.chip.usage.group_capacity = 1;
    auto expected = madeAnd({});
    expected.insert(expected.begin(), {"modify_entry " + kEntry, "del_group chip group 110"});
    EXPECT_EQ(expected, world.steps());
}

TEST(Mending, GroupThatWasBegunForAnotherOneMakesRoomForAMissingOne) {
    World world;
    world.desired.groups[20] = {5, 1, kSetLagPort, {{1, true}}};
    world.chip.groups.at(110).members.at(102) = true;
    world.chip.groups[111] = {.size = 4, .members = {{101, true}}};
    world.chip.usage.groups = world.chip.usage.group_capacity = 2;
    EXPECT_THAT(world.steps(),
                ElementsAre("group_member_state_set group 10: member 2", "del_group chip group 111",
                            "create_group group 20", "add_member_to_group group 20: member 1"));
}

TEST(Mending, NobodyStaysActiveInAGroupWhoseMembersAreAllInactive) {
    World world;
    world.desired.entries.clear();
    world.records.entries.clear();
    world.chip.entries.clear();
    world.desired.groups.at(10).members = {{1, false}};
    world.records.members = {{2, 102}};
    world.chip.members.erase(101);
    world.chip.usage.members = 1;
    world.chip.groups.at(110).members = {{102, true}};
    EXPECT_THAT(world.steps(), ElementsAre("add_member_with_setLagPort member 1",
                                           "add_member_to_group group 10: member 1",
                                           "group_member_state_set group 10: member 1",
                                           "del_member_from_group group 10: chip member 102"));
}

TEST(Mending, GroupThatAStartCutShortHadBegunIsCompleted) {
    World world;
    world.chip.groups.at(110).members.erase(102);
    world.chip.groups[111] = {.size = 4, .members = {{101, true}}};
    EXPECT_THAT(world.steps(),
                ElementsAre("add_member_to_group group 10: member 2",
                            "group_member_state_set group 10: member 2",
                            "modify_entry_with_selector " + kEntry, "del_group chip group 110"));
    EXPECT_EQ("", world.audited().obstacle);
    // Not needed after all, it goes.
    world.chip.groups.at(110).members[102] = true;
    EXPECT_THAT(world.steps(), ElementsAre("group_member_state_set group 10: member 2",
                                           "del_group chip group 111"));
}

TEST(Mending, GroupBeginsWithItsInitialMemberOrElseWithTheLowest) {
    EXPECT_THAT(joiningOrder({4, 7, kSetLagPort, {{3, true}, {7, true}, {9, false}}}),
                ElementsAre(7, 3, 9));
    EXPECT_THAT(joiningOrder({4, 8, kSetLagPort, {{3, true}, {7, true}}}), ElementsAre(3, 7));
}

// ---- Entries -----------------------------------------------------------------------------------

TEST(Mending, EntryThatACutShortCommandRepointedGoesBackInOneStep) {
    World world;
    world.chip.entries.at(120).target = {102, false};
    EXPECT_THAT(world.steps(), ElementsAre("modify_entry_with_selector " + kEntry));
}

TEST(Mending, DefaultEntryIsSetAnewAndAnUnwantedOneReset) {
    World world;
    world.chip.entries.at(120).name = std::nullopt;
    world.records.entries[0].name = std::nullopt;
    EXPECT_THAT(world.steps(), ElementsAre("add_entry_with_selector " + kEntry,
                                           "table_reset_default_entry default entry"));
    world.desired.entries = {{std::nullopt, toMember(1)}};
    EXPECT_THAT(world.steps(), ElementsAre("set_default_entry default entry"));
}

TEST(Mending, UnwantedEntriesGoFirstOnlyWhereNewOnesLackRoom) {
    World world;
    world.desired.entries = {{MatchKey{1, 0xff, 0}, toMember(1)}};
    const std::string add = "add_entry entry value 0x1 mask 0xff priority 0";
    const std::string remove = "table_delete " + kEntry;
    EXPECT_THAT(world.steps(), ElementsAre(add, remove));
    world.chip.usage.entry_capacity = 1;
    EXPECT_THAT(world.steps(), ElementsAre(remove, add));
}

TEST(Mending, UnwantedMembersGoFirstOnlyWhereNewOnesLackRoom) {
    World world;
    world.desired.members[3] = {kSetLagPort, 3};
    world.chip.members[103] = {P4_PD_ACTION_setTunnelInfo, 0};
    world.chip.usage.members = 3;
    const std::string add = "add_member_with_setLagPort member 3";
    const std::string remove = "del_member chip member 103";
    EXPECT_THAT(world.steps(), ElementsAre(add, remove));
    world.chip.usage.member_capacity = 3;
    EXPECT_THAT(world.steps(), ElementsAre(remove, add));
}

} // namespace
} // namespace LagAgent
