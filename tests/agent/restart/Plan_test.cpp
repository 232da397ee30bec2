#include "tests/agent/restart/Worlds.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kEntry = "entry value 0x10 mask 0xff priority 5";

TEST(Plan, ChangesMembersThenMakesGroupsThenRepointsThenRemoves) {
    EXPECT_THAT(World().steps(),
                ElementsAre("lagPortActionProfile_modify_member_with_setLagPort member 1",
                            "lagPortActionProfile_modify_member_with_setLagPort member 2",
                            "lagPortActionProfile_create_group group 10",
                            "lagPortActionProfile_add_member_to_group group 10: member 1",
                            "lagPortActionProfile_add_member_to_group group 10: member 2",
                            "lagPortActionProfile_group_member_state_set group 10: member 2",
                            "lagGroup_modify_entry_with_selector " + kEntry,
                            "lagPortActionProfile_del_group chip group 110"));
}

TEST(Plan, EmptyChipIsFilled) {
    World world;
    world.records = {};
    world.chip.members.clear();
    world.chip.groups.clear();
    world.chip.entries.clear();
    world.chip.usage.groups = 0;
    EXPECT_THAT(world.steps(),
                ElementsAre("lagPortActionProfile_add_member_with_setLagPort member 1",
                            "lagPortActionProfile_add_member_with_setLagPort member 2",
                            "lagPortActionProfile_create_group group 10",
                            "lagPortActionProfile_add_member_to_group group 10: member 1",
                            "lagPortActionProfile_add_member_to_group group 10: member 2",
                            "lagPortActionProfile_group_member_state_set group 10: member 2",
                            "lagGroup_add_entry_with_selector " + kEntry));
    EXPECT_EQ(0u, world.plan().orphans);
}

TEST(Plan, NothingDesiredRemovesEntriesThenGroupsThenMembers) {
    World world;
    world.desired = {};
    EXPECT_THAT(world.steps(), ElementsAre("lagGroup_table_delete chip entry 120",
                                           "lagPortActionProfile_del_group chip group 110",
                                           "lagPortActionProfile_del_member chip member 101",
                                           "lagPortActionProfile_del_member chip member 102"));
    EXPECT_EQ(0u, world.plan().orphans);
}

TEST(Plan, GroupBeginsWithItsInitialMemberOrElseWithTheLowest) {
    EXPECT_THAT(joiningOrder({4, 7, kSetLagPort, {{3, true}, {7, true}, {9, false}}}),
                ElementsAre(7, 3, 9));
    EXPECT_THAT(joiningOrder({4, 8, kSetLagPort, {{3, true}, {7, true}}}), ElementsAre(3, 7));
}

TEST(Plan, RecordOfAHandleThatTheChipDoesNotKnowIsForgotten) {
    World world;
    world.chip.members.erase(102);
    world.chip.groups.clear();
    world.chip.entries.clear();
    const Plan plan = world.plan();
    EXPECT_THAT(plan.forgottenMembers, ElementsAre(2));
    EXPECT_THAT(plan.forgottenGroups, ElementsAre(10));
    EXPECT_THAT(plan.forgottenEntries, ElementsAre(0x500000000));
    EXPECT_EQ("lagPortActionProfile_add_member_with_setLagPort", operationOf(plan.steps.at(1)));
    EXPECT_EQ("lagGroup_add_entry_with_selector", operationOf(plan.steps.back()));
}

TEST(Plan, RecordThatTheChipHasAnotherEntryUnderIsForgotten) {
    World world;
    world.records.entries[0].name = MatchKey{0x11, 0xff, 5};
    const Plan plan = world.plan();
    EXPECT_THAT(plan.forgottenEntries, ElementsAre(0x500000000));
    // The desired key is there all the same, and is taken as it is.
    EXPECT_EQ(0u, plan.entries.at(kKey).key);
    EXPECT_EQ(120u, plan.entries.at(kKey).handle);
    EXPECT_EQ("lagGroup_modify_entry_with_selector", operationOf(plan.steps.at(6)));
}

TEST(Plan, UnrecordedEntryAndMembersAreAdoptedWhereTheyServe) {
    World world;
    world.records = {};
    world.chip.members[103] = {P4_PD_ACTION_setLagPort, 2};
    world.chip.members[104] = {P4_PD_ACTION_setTunnelInfo, 0};
    const Plan plan = world.plan();
    EXPECT_THAT(plan.adoptedMembers, ElementsAre(testing::Pair(1, 101), testing::Pair(2, 102)));
    EXPECT_EQ(0u, plan.entries.at(kKey).key);
    EXPECT_THAT(
        plan.writes(),
        ElementsAre(testing::Pair("lagGroup_modify_entry_with_selector", 1),
                    testing::Pair("lagPortActionProfile_add_member_to_group", 2),
                    testing::Pair("lagPortActionProfile_create_group", 1),
                    testing::Pair("lagPortActionProfile_del_group", 1),
                    testing::Pair("lagPortActionProfile_del_member", 2),
                    testing::Pair("lagPortActionProfile_group_member_state_set", 1),
                    testing::Pair("lagPortActionProfile_modify_member_with_setLagPort", 2)));
    // The old group, and members 103 and 104.
    EXPECT_EQ(3u, plan.orphans);
}

TEST(Plan, RecordedMemberIsNotAdoptedByAnother) {
    World world;
    world.desired.members[3] = {kSetLagPort, 1};
    const Plan plan = world.plan();
    EXPECT_THAT(plan.adoptedMembers, IsEmpty());
    EXPECT_TRUE(plan.steps.at(2).isNew);
}

TEST(Plan, DefaultEntryIsSetAgainAndAnUnwantedOneReset) {
    World world;
    world.chip.entries.begin()->second.name = std::nullopt;
    world.records.entries[0].name = std::nullopt;
    EXPECT_THAT(world.steps(), testing::Contains("lagGroup_add_entry_with_selector " + kEntry));
    EXPECT_THAT(world.steps(),
                testing::Contains("lagGroup_table_reset_default_entry chip entry 120"));
    world.desired.entries = {{std::nullopt, toMember(1)}};
    EXPECT_THAT(world.steps(), testing::Contains("lagGroup_set_default_entry default entry"));
    EXPECT_THAT(world.steps(),
                testing::Not(testing::Contains(testing::HasSubstr("reset_default"))));
}

TEST(Plan, UnwantedEntriesGoFirstOnlyWhereNewOnesLackRoom) {
    World world;
    world.desired.entries = {{MatchKey{1, 0xff, 0}, toMember(1)}};
    const auto entrySteps = [&world] {
        auto steps = world.steps();
        std::erase_if(steps,
                      [](const std::string& line) { return !line.starts_with("lagGroup_"); });
        return steps;
    };
    const std::string add = "lagGroup_add_entry entry value 0x1 mask 0xff priority 0";
    const std::string remove = "lagGroup_table_delete chip entry 120";
    EXPECT_THAT(entrySteps(), ElementsAre(add, remove));
    world.chip.usage.entry_capacity = 1;
    EXPECT_THAT(entrySteps(), ElementsAre(remove, add));
}

TEST(Plan, EntriesAreRepointedGroupByGroup) {
    World world;
    world.desired.groups[20] = {4, 1, kSetLagPort, {{1, true}}};
    world.desired.entries = {{MatchKey{1, 1, 1}, toGroup(20)},
                             {MatchKey{2, 2, 2}, toGroup(10)},
                             {MatchKey{3, 3, 3}, toGroup(20)},
                             {MatchKey{4, 4, 4}, toMember(1)}};
    std::vector<std::uint32_t> order;
    for (const Step& step : world.plan().steps) {
        if (step.kind == Step::Kind::entryPoint) {
            order.push_back(step.entry->value);
        }
    }
    EXPECT_THAT(order, ElementsAre(2, 1, 3, 4));
}

TEST(Plan, MemberThatACutShortCommandLeftActiveBecomesInactiveFirstOfAll) {
    World world;
    world.chip.groups.at(110).members.at(102) = true;
    EXPECT_EQ("lagPortActionProfile_group_member_state_set chip group 110: chip member 102",
              world.steps().front());
    // One that has no business in the group at all as well.
    world.chip.groups.at(110).members = {{101, true}, {103, true}};
    EXPECT_EQ("lagPortActionProfile_group_member_state_set chip group 110: chip member 103",
              world.steps().front());
    // Not the last one that carries flows.
    world.chip.groups.at(110).members = {{101, false}, {102, true}};
    EXPECT_EQ("lagPortActionProfile_modify_member_with_setLagPort member 1", world.steps().front());
    // Unless none is to carry any.
    world.desired.groups.at(10).members = {{1, false}, {2, false}};
    EXPECT_EQ("lagPortActionProfile_group_member_state_set chip group 110: chip member 102",
              world.steps().front());
}

TEST(Plan, LastActiveMemberStaysActiveWhereTheOnesThatShouldBeHaveNoHandle) {
    World world;
    world.records.members.erase(1);
    world.chip.members.at(101).port = 8; // so that it is not adopted
    for (const auto& line : world.steps()) {
        EXPECT_FALSE(line.starts_with("lagPortActionProfile_group_member_state_set chip group"))
            << line;
    }
}

TEST(Plan, EntryThatACutShortCommandRepointedGoesBackFirst) {
    World world;
    world.desired.groups[20] = {4, 1, kSetLagPort, {{1, true}}};
    world.records.groups[20] = 111;
    world.chip.groups[111] = {.size = 4, .members = {{101, true}}};
    world.chip.usage.groups = 2;
    world.chip.entries.at(120).target = {111, true};
    EXPECT_EQ("lagGroup_modify_entry_with_selector " + kEntry, world.steps().front());
}

TEST(Plan, GroupLargerThanTheChipsAreIsAnObstacle) {
    World world;
    world.chip.usage.group_size_limit = 3;
    EXPECT_EQ("the chip's groups take 3 members, and group 10 is for 4", world.plan().obstacle);
}

TEST(Plan, MoreThanTheChipCanEverTakeIsAnObstacle) {
    World world;
    world.chip.usage.member_capacity = 1;
    EXPECT_EQ("the chip has room for 1 members, and 2 are desired", world.plan().obstacle);
    EXPECT_THAT(world.steps(), IsEmpty());
    world.chip.usage.member_capacity = 2;
    EXPECT_EQ("", world.plan().obstacle);
    world.chip.usage.group_capacity = 0;
    EXPECT_EQ("the chip has room for 0 groups, and 1 are desired", world.plan().obstacle);
    world.chip.usage.group_capacity = 1;
    world.chip.usage.entry_capacity = 0;
    EXPECT_EQ("the chip has room for 0 entries, and 1 are desired", world.plan().obstacle);
    // The default entry takes no room.
    world.desired.entries = {{std::nullopt, toGroup(10)}};
    EXPECT_EQ("", world.plan().obstacle);
}

TEST(Plan, EntryThatPointsAtAGroupTheChipDoesNotListIsRepointed) {
    World world;
    world.chip.entries.at(120).target.handle = 999;
    EXPECT_THAT(world.steps(), testing::Contains("lagGroup_modify_entry_with_selector " + kEntry));
    EXPECT_EQ("lagPortActionProfile_del_group chip group 110", world.steps().back());
}

// ---- A chip without room for the new groups beside the old ones ---------------------------------

/// As `World`, with a second group 20 of member 1 alone (handle 111), to which entry 0x20 points
/// (handle 121).
struct TwoGroups : World {
    static constexpr MatchKey kOther{0x20, 0xff, 5};

    explicit TwoGroups(std::uint32_t groupCapacity) {
        desired.groups[20] = {4, 1, kSetLagPort, {{1, true}}};
        desired.entries[kOther] = toGroup(20);
        records.groups[20] = 111;
        records.entries.push_back({.key = 0x600000000, .name = kOther, .handle = 121});
        chip.groups[111] = {.size = 4, .members = {{101, true}}};
        chip.entries[121] = {.name = kOther, .target = {111, true}};
        chip.usage.groups = 2;
        chip.usage.group_capacity = groupCapacity;
    }

    /// The steps that touch entries and whole groups.
    std::vector<std::string> course() const {
        auto lines = steps();
        std::erase_if(lines, [](const std::string& line) {
            return line.find("_member") != std::string::npos;
        });
        return lines;
    }
};

const std::string kOtherEntry = "entry value 0x20 mask 0xff priority 5";

TEST(PlanWithoutRoom, AllNewGroupsComeFirstWhileThereIsRoom) {
    const TwoGroups world(4);
    EXPECT_THAT(world.course(), ElementsAre("lagPortActionProfile_create_group group 10",
                                            "lagPortActionProfile_create_group group 20",
                                            "lagGroup_modify_entry_with_selector " + kEntry,
                                            "lagGroup_modify_entry_with_selector " + kOtherEntry,
                                            "lagPortActionProfile_del_group chip group 110",
                                            "lagPortActionProfile_del_group chip group 111"));
    EXPECT_EQ(0u, world.plan().missingGroups);
}

TEST(PlanWithoutRoom, RoomForOneMoreExchangesThemOneByOneUntouched) {
    const TwoGroups world(3);
    EXPECT_THAT(world.course(), ElementsAre("lagPortActionProfile_create_group group 10",
                                            "lagGroup_modify_entry_with_selector " + kEntry,
                                            "lagPortActionProfile_del_group chip group 110",
                                            "lagPortActionProfile_create_group group 20",
                                            "lagGroup_modify_entry_with_selector " + kOtherEntry,
                                            "lagPortActionProfile_del_group chip group 111"));
    EXPECT_EQ(1u, world.plan().missingGroups);
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

TEST(PlanWithoutRoom, NoRoomAtAllLetsOneGroupGiveWayToItsOwnActiveMember) {
    const TwoGroups world(2);
    EXPECT_THAT(world.course(),
                ElementsAre("lagGroup_modify_entry " + kEntry + ": member 1 for a while",
                            "lagPortActionProfile_del_group chip group 110",
                            "lagPortActionProfile_create_group group 20",
                            "lagGroup_modify_entry_with_selector " + kOtherEntry,
                            "lagPortActionProfile_del_group chip group 111",
                            "lagPortActionProfile_create_group group 10",
                            "lagGroup_modify_entry_with_selector " + kEntry));
    EXPECT_EQ(2u, world.plan().missingGroups);
    EXPECT_THAT(world.plan().touchedGroups, ElementsAre(10));
}

TEST(PlanWithoutRoom, GroupThatNoEntryUsesGivesWayUntouched) {
    TwoGroups world(2);
    world.desired.entries.erase(TwoGroups::kOther);
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
    EXPECT_EQ(1u, world.plan().missingGroups);
}

TEST(PlanWithoutRoom, GroupWithoutActiveMemberGivesWayFirstAndItsFlowsGoNowhere) {
    TwoGroups world(2);
    world.desired.groups.at(20).members = {{1, false}};
    world.chip.groups.at(111).members = {{101, false}};
    auto steps = world.steps();
    std::erase_if(steps, [](const std::string& line) {
        return line.find("to_group") != std::string::npos ||
               line.find("state_set") != std::string::npos;
    });
    EXPECT_THAT(
        steps,
        ElementsAre("lagPortActionProfile_modify_member_with_setLagPort member 1",
                    "lagPortActionProfile_modify_member_with_setLagPort member 2",
                    "lagPortActionProfile_add_member_with_invalidateUcastEgressPort a member that "
                    "sends nowhere",
                    "lagGroup_modify_entry " + kOtherEntry + ": nowhere for a while",
                    "lagPortActionProfile_del_group chip group 111",
                    "lagPortActionProfile_create_group group 10",
                    "lagGroup_modify_entry_with_selector " + kEntry,
                    "lagPortActionProfile_del_group chip group 110",
                    "lagPortActionProfile_create_group group 20",
                    "lagGroup_modify_entry_with_selector " + kOtherEntry,
                    "lagPortActionProfile_del_member a member that sends nowhere"));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
    EXPECT_EQ("", world.plan().obstacle);
}

TEST(PlanWithoutRoom, WhoGaveWayComesLastWhateverItsId) {
    TwoGroups world(2);
    world.desired.groups.at(10).members = {{1, false}, {2, false}};
    world.chip.groups.at(110).members = {{101, false}, {102, false}};
    EXPECT_THAT(world.course(),
                ElementsAre("lagGroup_modify_entry " + kEntry + ": nowhere for a while",
                            "lagPortActionProfile_del_group chip group 110",
                            "lagPortActionProfile_create_group group 20",
                            "lagGroup_modify_entry_with_selector " + kOtherEntry,
                            "lagPortActionProfile_del_group chip group 111",
                            "lagPortActionProfile_create_group group 10",
                            "lagGroup_modify_entry_with_selector " + kEntry));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

TEST(PlanWithoutRoom, OnePlaceLeftByACutShortStartIsEnough) {
    // Group 10 was parked on member 1 and its old group removed.
    TwoGroups world(2);
    world.chip.groups.erase(110);
    world.records.groups.erase(10);
    world.chip.entries.at(120).target = {101, false};
    world.chip.usage.groups = 1;
    EXPECT_THAT(world.course(), ElementsAre("lagPortActionProfile_create_group group 20",
                                            "lagGroup_modify_entry_with_selector " + kOtherEntry,
                                            "lagPortActionProfile_del_group chip group 111",
                                            "lagPortActionProfile_create_group group 10",
                                            "lagGroup_modify_entry_with_selector " + kEntry));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

TEST(PlanWithoutRoom, WithoutRoomForAMemberEitherAGroupWithActiveMembersGivesWay) {
    TwoGroups world(2);
    world.desired.groups.at(20).members = {{1, false}};
    world.chip.groups.at(111).members = {{101, false}};
    world.chip.usage.member_capacity = 2;
    EXPECT_THAT(world.plan().touchedGroups, ElementsAre(10));
    // And where there is none, nothing is begun.
    world.desired.groups.at(10).members = {{1, false}, {2, false}};
    EXPECT_THAT(world.plan().obstacle, testing::HasSubstr("no room for one group more"));
}

TEST(PlanWithoutRoom, MemberThatNothingRefersToMakesRoomForTheOneThatSendsNowhere) {
    TwoGroups world(2);
    world.desired.groups.at(20).members = {{1, false}};
    world.chip.groups.at(111).members = {{101, false}};
    // As death after the making of such a member leaves it.
    world.chip.members[103] = {P4_PD_ACTION_invalidateUcastEgressPort, 0};
    world.chip.usage.members = 3;
    world.chip.usage.member_capacity = 3;
    EXPECT_EQ("lagPortActionProfile_del_member chip member 103", world.steps().front());
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
    EXPECT_EQ("", world.plan().obstacle);
}

TEST(PlanWithoutRoom, ParkedFlowsGoToAMemberThatWasActiveAllAlong) {
    TwoGroups world(2);
    world.desired.groups.at(10).members = {{1, true}, {2, true}};
    world.chip.groups.at(110).members = {{101, false}, {102, true}};
    EXPECT_EQ("lagGroup_modify_entry " + kEntry + ": member 2 for a while", world.course().front());
}

TEST(PlanWithoutRoom, WhatACutShortStartHasCompletedIsUsedBeforeAnythingGivesWay) {
    // Group 10's new group 112 is complete and recorded, and one of its two entries is still at the
    // old one.
    TwoGroups world(3);
    const MatchKey third{0x11, 0xff, 5};
    world.desired.entries[third] = toGroup(10);
    world.records.entries.push_back({.key = 0x700000000, .name = third, .handle = 122});
    world.records.groups[10] = 112;
    world.chip.groups[112] = world.chip.groups.at(110);
    world.chip.entries[122] = {.name = third, .target = {112, true}};
    world.chip.usage.groups = 3;
    EXPECT_EQ("lagGroup_modify_entry_with_selector " + kEntry, world.course().front());
    EXPECT_EQ("lagPortActionProfile_del_group chip group 110", world.course().at(1));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
    // An incomplete one is not.
    world.chip.groups.at(112).members.at(102) = true;
    world.chip.groups.at(112).members.erase(101);
    EXPECT_THAT(world.plan().touchedGroups, testing::SizeIs(1));
}

TEST(PlanWithoutRoom, CompleteGroupAtWhichNoEntryPointsYetIsUsedToo) {
    TwoGroups world(3);
    world.records.groups[10] = 112;
    world.chip.groups[112] = world.chip.groups.at(110);
    world.chip.usage.groups = 3;
    EXPECT_EQ("lagGroup_modify_entry_with_selector " + kEntry, world.course().front());
    EXPECT_EQ("lagPortActionProfile_del_group chip group 110", world.course().at(1));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

TEST(PlanWithoutRoom, EntryThatIsToPointAtANewMemberDoesSoAsSoonAsThatIsThere) {
    TwoGroups world(2);
    world.desired.members[3] = {kSetLagPort, 3};
    world.desired.entries[TwoGroups::kOther] = toMember(3);
    EXPECT_EQ("lagGroup_modify_entry " + kOtherEntry, world.course().front());
    EXPECT_EQ("lagPortActionProfile_del_group chip group 111", world.course().at(1));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

TEST(PlanWithoutRoom, EntryThatIsToPointAtAMemberDoesSoBeforeAnythingGivesWay) {
    TwoGroups world(2);
    world.desired.entries[TwoGroups::kOther] = toMember(1);
    EXPECT_EQ("lagGroup_modify_entry " + kOtherEntry, world.course().front());
    EXPECT_EQ("lagPortActionProfile_del_group chip group 111", world.course().at(1));
    EXPECT_THAT(world.plan().touchedGroups, IsEmpty());
}

} // namespace
} // namespace LagAgent
