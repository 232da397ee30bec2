#include "tests/agent/restart/Worlds.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEntry = "entry value 0x10 mask 0xff priority 5";

TEST(Audit, FindsAndWritesNothingWhereAllThreeAgree) {
    EXPECT_THAT(World().findings(), IsEmpty());
    EXPECT_THAT(World().steps(), IsEmpty());
    EXPECT_EQ("", World().audited().obstacle);
}

TEST(Audit, StaleRecordsAreOfWhatIsNotDesired) {
    World world;
    world.desired = {};
    EXPECT_THAT(world.findings(),
                ElementsAre("stale record: " + kEntry + ": handle 120: not desired (1)",
                            "stale record: group 10: handle 110: not desired (1)",
                            "stale record: member 1: handle 101: not desired (1)",
                            "stale record: member 2: handle 102: not desired (1)"));
}

TEST(Audit, ReservationsTellTheirKeyAndWhatForTheyAre) {
    World world;
    world.records.reservations = {{0x700000000, false}, {0x80000000c, true}};
    EXPECT_THAT(world.findings(),
                ElementsAre("reservation: key 0x700000000: match entry (0)",
                            "reservation: key 0x80000000c: member or group 12 (0)"));
}

TEST(Audit, HandlesThatTheChipDoesNotKnow) {
    World world;
    world.chip.members.erase(102);
    world.chip.groups.at(110).members.erase(102);
    world.chip.entries.clear();
    EXPECT_THAT(
        world.findings(),
        ElementsAre("unknown handle: member 2: handle 102: the chip does not know it (0)",
                    "unknown handle: " + kEntry + ": handle 120: the chip does not know it (0)",
                    "missing: member 2: not on the chip (1)",
                    "missing: " + kEntry + ": not on the chip (1)",
                    "wrong members: group 10: member 2 is not in it (2)"));
}

TEST(Audit, HandleUnderWhichTheChipHasAnotherEntry) {
    World world;
    world.chip.entries.at(120).name = std::nullopt;
    EXPECT_THAT(world.findings(),
                ElementsAre("unknown handle: " + kEntry +
                                ": handle 120: the chip has the default entry under it (0)",
                            "missing: " + kEntry + ": not on the chip (1)",
                            "orphan: chip entry 120: nobody recorded it (1)"));
}

TEST(Audit, HandleThatTheChipHasGivenToAnotherGroup) {
    World world;
    world.desired.entries.clear();
    world.records.entries.clear();
    world.chip.entries.clear();
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 3};
    world.chip.groups.at(110).members = {{103, true}};
    EXPECT_THAT(world.findings(),
                ElementsAre("unknown handle: group 10: handle 110: the chip has something else "
                            "under it (0)",
                            "missing: group 10: not on the chip (4)",
                            "stale record: group 10: handle 110: not desired (1)",
                            "orphan: chip member 103: nobody recorded it (1)"));
}

/// Both entry and record say which group it is.
TEST(Audit, GroupAtWhichItsEntryPointsIsItWhoeverIsInIt) {
    World world;
    world.chip.groups.at(110).members = {{102, true}};
    world.desired.groups.at(10).members = {{1, true}};
    EXPECT_THAT(world.findings(),
                ElementsAre("wrong members: group 10: member 1 is not in it, chip member 102 does "
                            "not belong there (2)"));
    EXPECT_THAT(world.steps(), ElementsAre("add_member_to_group group 10: member 1",
                                           "del_member_from_group group 10: chip member 102"));
}

/// Member 2's record tells of a member with another action, in a group that member 2 is not to be
/// in: changing that member would send the group's flows astray.
TEST(Audit, HandleThatTheChipHasGivenToAnotherMember) {
    World world;
    world.desired.members[3] = {kSetLagPort, 3};
    world.desired.groups[20] = {4, 3, kSetLagPort, {{3, true}}};
    world.desired.groups.at(10).members = {{1, true}};
    world.records.groups[20] = 111;
    world.chip.members.at(102).port = 3;
    world.chip.groups.at(110).members = {{101, true}};
    world.chip.groups[111] = {.size = 4, .members = {{102, true}}};
    EXPECT_THAT(world.findings(),
                ElementsAre("unknown handle: member 2: handle 102: the chip has something else "
                            "under it (0)",
                            "unrecorded: member 3: chip member 102 serves (0)",
                            "missing: member 2: not on the chip (1)"));
    EXPECT_THAT(world.steps(), ElementsAre("add_member_with_setLagPort member 2"));
}

TEST(Audit, WhatNobodyRecordedServesWhereItDoesWhatIsDesired) {
    World world;
    world.records = {};
    EXPECT_THAT(world.findings(),
                ElementsAre("unrecorded: " + kEntry + ": chip entry 120 serves (0)",
                            "unrecorded: group 10: chip group 110 serves (0)",
                            "unrecorded: member 1: chip member 101 serves (0)",
                            "unrecorded: member 2: chip member 102 serves (0)"));
    EXPECT_THAT(world.steps(), IsEmpty());
}

TEST(Audit, OfMembersThatAreAlikeTheOneInTheRightGroupServes) {
    World world;
    world.desired.members[3] = {kSetLagPort, 1};
    world.desired.groups[20] = {4, 3, kSetLagPort, {{3, true}}};
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 1};
    world.chip.groups[111] = {.size = 4, .members = {{101, true}}};
    world.chip.groups.at(110).members = {{102, false}, {103, true}};
    world.records.members.clear();
    world.records.groups[20] = 111;
    EXPECT_THAT(world.steps(), IsEmpty());
    EXPECT_THAT(world.findings(),
                testing::Contains("unrecorded: member 3: chip member 101 serves (0)"));
}

TEST(Audit, GroupAtWhichNothingPointsServesByItsMembers) {
    World world;
    world.desired.entries.clear();
    world.records.entries.clear();
    world.chip.entries.clear();
    world.records.groups.clear();
    EXPECT_THAT(world.findings(), ElementsAre("unrecorded: group 10: chip group 110 serves (0)"));
}

TEST(Audit, CompleteGroupIsPreferredToARecordedOneThatIsNot) {
    World world;
    world.chip.groups[111] = world.chip.groups.at(110);
    world.chip.groups.at(110).members.erase(102);
    world.chip.entries.at(120).target.handle = 111;
    EXPECT_THAT(world.findings(),
                ElementsAre("unrecorded: group 10: chip group 111 serves (0)",
                            "group twice: chip group 110: another one stands for group 10 (1)"));
}

TEST(Audit, MembersActionsAndStatesThatDiffer) {
    World world;
    world.chip.members.at(101).port = 9;
    world.chip.members[103] = {P4_PD_ACTION_setTunnelInfo, 0};
    world.chip.groups.at(110).members = {{101, false}, {103, true}};
    world.chip.groups.at(110).size = 5;
    const auto findings = world.findings();
    EXPECT_THAT(findings,
                testing::Contains("wrong members: group 10: its size is 5, member 2 is not in it, "
                                  "chip member 103 does not belong there (6)"));
    EXPECT_THAT(findings,
                testing::Contains("wrong action: member 1: it has setLagPort port 9 (1)"));
    EXPECT_THAT(findings, testing::Contains("wrong state: group 10: member 1 is inactive (0)"));
}

TEST(Audit, EntryThatPointsElsewhere) {
    World world;
    world.chip.entries.at(120).target = {102, false};
    EXPECT_THAT(world.findings(),
                ElementsAre("wrong target: " + kEntry + ": it points at chip member 102 (1)"));
}

TEST(Audit, CorruptTablesAreNamed) {
    World world;
    world.records.corruptions = {"table members, slot 3: its checksum is wrong"};
    EXPECT_THAT(world.findings(),
                ElementsAre("corrupt table: table members, slot 3: its checksum is wrong: read in "
                            "part (0)"));
}

// ---- What would be refused ---------------------------------------------------------------------

TEST(Audit, OneObjectMayBeLeftByACommandButNotTwo) {
    World world;
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 3};
    EXPECT_EQ("", world.audited().obstacle);
    world.chip.entries[121] = {.name = MatchKey{0x20, 0xff, 5}, .target = {103, false}};
    EXPECT_EQ(
        "it would remove from the chip more than a command that was cut short has left "
        "there: chip entry 121 (entry value 0x20 mask 0xff priority 5), chip member 103; "
        "the chip has not been touched. See that this is the right state directory for this "
        "chip, and desired.db the latest (an older one is put back with 'lag-agent restore'); "
        "to have these removed, give --accept-loss",
        world.audited().obstacle);
}

TEST(Audit, GroupThatAStartHasMadeAnewIsNotCounted) {
    World world;
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 3};
    world.chip.groups[111] = world.chip.groups.at(110);
    world.chip.groups.at(110).members.erase(102);
    world.chip.entries.at(120).target.handle = 111;
    EXPECT_EQ("", world.audited().obstacle);
}

TEST(Audit, RecordedObjectsCountAsMuchAsOthers) {
    World world;
    world.desired.entries = {};
    EXPECT_EQ("", world.audited().obstacle);
    world.desired = {};
    EXPECT_THAT(world.audited().obstacle,
                testing::HasSubstr("there: entry value 0x10 mask 0xff priority 5, group 10, "
                                   "member 1, member 2; the chip has not"));
}

TEST(Audit, WhatIsNotedAsGivenUpMayGo) {
    World world;
    world.desired = {};
    world.isMendingNoted = true;
    EXPECT_EQ("", world.audited().obstacle);
}

TEST(Audit, AnAgentThatHasDoneNothingYetHasLeftNothing) {
    World world;
    static_cast<Situation&>(world) = {.isNew = true};
    world.chip.members[101] = {P4_PD_ACTION_setLagPort, 1};
    EXPECT_THAT(world.audited().obstacle,
                testing::HasSubstr("there: chip member 101; the chip has not"));
    // Its first command was cut short.
    world.records.reservations = {{.key = 1, .isAnonymous = true}};
    EXPECT_EQ("", world.audited().obstacle);
    world.records = {.members = {{1, 101}}};
    EXPECT_EQ("", world.audited().obstacle);
}

TEST(Audit, OfManyRemovalsTenAreNamed) {
    World world;
    for (ChipHandle handle = 1; handle <= 12; ++handle) {
        world.chip.members[handle] = {P4_PD_ACTION_setLagPort, 3};
    }
    EXPECT_THAT(world.audited().obstacle,
                testing::HasSubstr("chip member 9, chip member 10 and 2 more; the chip has not"));
}

TEST(Audit, MoreThanTheChipCanEverTakeIsAnObstacle) {
    World world;
    world.chip.usage.member_capacity = 1;
    EXPECT_EQ("the chip has room for 1 members, and 2 are desired", world.audited().obstacle);
    EXPECT_THAT(world.steps(), IsEmpty());
    world.chip.usage.member_capacity = 2;
    EXPECT_EQ("", world.audited().obstacle);
    world.chip.usage.group_capacity = 0;
    EXPECT_EQ("the chip has room for 0 groups, and 1 are desired", world.audited().obstacle);
    world.chip.usage.group_capacity = 1;
    world.chip.usage.entry_capacity = 0;
    EXPECT_EQ("the chip has room for 0 entries, and 1 are desired", world.audited().obstacle);
    // The default entry takes no room.
    world.desired.entries = {{std::nullopt, toGroup(10)}};
    EXPECT_EQ("", world.audited().obstacle);
    world.chip.usage.group_size_limit = 3;
    EXPECT_EQ("the chip's groups take 3 members, and group 10 is for 4", world.audited().obstacle);
}

} // namespace
} // namespace LagAgent
