#include "tests/agent/restart/Worlds.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEntry = "entry value 0x10 mask 0xff priority 5";

TEST(Audit, FindsNothingWhereAllThreeAgree) {
    EXPECT_THAT(World().findings(), IsEmpty());
}

TEST(Audit, StaleRecordsAreOfWhatIsNotDesired) {
    World world;
    world.desired = {};
    EXPECT_THAT(world.findings(),
                ElementsAre("stale record: member 1: handle 101: not desired",
                            "stale record: member 2: handle 102: not desired",
                            "stale record: group 10: handle 110: not desired",
                            "stale record: " + kEntry + ": handle 120: not desired"));
}

TEST(Audit, ReservationsTellTheirKeyAndWhatForTheyAre) {
    World world;
    world.records.reservations = {{0x700000000, false}, {0x80000000c, true}};
    EXPECT_THAT(world.findings(), ElementsAre("reservation: key 0x700000000: match entry",
                                              "reservation: key 0x80000000c: member or group 12"));
}

TEST(Audit, HandlesThatTheChipDoesNotKnow) {
    World world;
    world.chip.members.clear();
    world.chip.groups.clear();
    world.chip.entries.clear();
    EXPECT_THAT(
        world.findings(),
        ElementsAre("unknown handle: member 1: handle 101: the chip does not know it",
                    "unknown handle: member 2: handle 102: the chip does not know it",
                    "unknown handle: group 10: handle 110: the chip does not know it",
                    "unknown handle: " + kEntry + ": handle 120: the chip does not know it"));
}

TEST(Audit, HandleUnderWhichTheChipHasAnotherEntry) {
    World world;
    world.chip.entries.at(120).name = std::nullopt;
    EXPECT_THAT(world.findings(),
                ElementsAre("unknown handle: " + kEntry +
                                ": handle 120: the chip has the default entry "
                                "under it",
                            "missing: " + kEntry + ": desired, but not recorded"));
}

TEST(Audit, UnrecordedObjectsAreMissingInTheRecordsAndOrphansOnTheChip) {
    World world;
    world.records = {};
    EXPECT_THAT(world.findings(), ElementsAre("missing: member 1: desired, but not recorded",
                                              "missing: member 2: desired, but not recorded",
                                              "orphan: chip member 101: nobody recorded it",
                                              "orphan: chip member 102: nobody recorded it",
                                              "missing: group 10: desired, but not recorded",
                                              "orphan: chip group 110: nobody recorded it",
                                              "missing: " + kEntry + ": desired, but not recorded",
                                              "orphan: chip entry 120: nobody recorded it"));
}

TEST(Audit, OldGroupBesideTheRecordedOneIsTheSameGroupTwice) {
    World world;
    // The new group has been made, and the entries still point at the old one.
    world.chip.groups[111] = {.size = 4, .members = {{101, true}, {102, false}}};
    world.records.groups[10] = 111;
    EXPECT_THAT(world.findings(),
                ElementsAre("group twice: chip group 110: stands for group 10, which is recorded "
                            "with handle 111",
                            "wrong target: " + kEntry + ": it points at chip group 110"));
    // They have been repointed, and the old one is still there.
    world.chip.entries.at(120).target.handle = 111;
    EXPECT_THAT(world.findings(),
                ElementsAre("group twice: chip group 110: stands for group 10, which is recorded "
                            "with handle 111"));
}

TEST(Audit, MembersActionsAndStatesThatDiffer) {
    World world;
    world.chip.members.at(101).port = 9;
    world.chip.members.at(102).action = P4_PD_ACTION_setTunnelInfo;
    world.chip.groups.at(110).members = {{101, false}, {103, true}};
    world.chip.groups.at(110).size = 5;
    EXPECT_THAT(world.findings(),
                ElementsAre("wrong action: member 1: it has setLagPort port 9",
                            "wrong action: member 2: it has setTunnelInfo",
                            "wrong members: group 10: its size is 5",
                            "wrong state: group 10: member 1 is inactive",
                            "wrong members: group 10: member 2 is not in it",
                            "wrong members: group 10: members in it that do not belong there: 1"));
}

TEST(Audit, EntryThatPointsElsewhere) {
    World world;
    world.chip.entries.at(120).target = {102, false};
    EXPECT_THAT(world.findings(),
                ElementsAre("wrong target: " + kEntry + ": it points at chip member 102"));
}

TEST(Audit, CorruptTablesAreNamed) {
    World world;
    world.records.corruptions = {"table members, slot 3: its checksum is wrong"};
    EXPECT_THAT(world.findings(),
                ElementsAre("corrupt table: table members, slot 3: its checksum is wrong: read in "
                            "part"));
}

} // namespace
} // namespace LagAgent
