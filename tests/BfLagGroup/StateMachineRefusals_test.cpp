// Every PD call of the action profile, refused with every status.
#include "tests/BfLagGroup/StateMachineFixture.h"
#include "tests/support/StatusMatrix.h"

namespace sm_test {
namespace {

using Site = test_support::PdSite<RunningWorld>;

/// Member 7 has the handle 1.
void haveMember(RunningWorld& world) {
    world.addEntry(7, lagPort(5));
}

/// Members 1 and 2 have the handles 1 and 2, group 10 has 50 and both members.
void haveLag(RunningWorld& world) {
    world.haveEntry(1);
    world.haveEntry(2);
    world.pd.handleIs(50);
    world.haveGroup(10, {2});
}

Site addOf(const char* name, const char* function, Action (*spec)(U16), const std::string& data) {
    return {name, function, [](RunningWorld&) {},
            [spec](RunningWorld& world) { world.addEntry(7, spec(6)); },
            [action = std::string(name).substr(sizeof("add_member_with_") - 1),
             data](RunningWorld& world) {
                EXPECT_THAT(world.journal.take(),
                            ElementsAre(adtStatus(7), anonKey(7), addMember(action, data)));
                EXPECT_TRUE(world.entry(7));
                EXPECT_FALSE(world.memberReactor(7));
                EXPECT_EQ(world.entry(7)->notifieeList()->size(), 0u);
                EXPECT_EQ(world.helper->sdkHandles()->member().size(), 0u);
            }};
}

Site modifyOf(const char* name, const char* function, Action (*spec)(U16),
              const std::string& data) {
    return {name, function, haveMember,
            [spec](RunningWorld& world) { world.entry(7)->actionIs(spec(6)); },
            [action = std::string(name).substr(sizeof("modify_member_with_") - 1),
             data](RunningWorld& world) {
                EXPECT_THAT(world.journal.take(),
                            ElementsAre(adtStatus(7), modifyMember(action, 1, data)));
                EXPECT_EQ(world.memberHandle(7), 1u);
                ASSERT_TRUE(world.memberReactor(7));
                EXPECT_FALSE(world.memberReactor(7)->kelMarkedForDeletion());
                EXPECT_EQ(world.entry(7)->action()->egrL2AintfPort(), 6u);
            }};
}

/// An operation under its short and its full name.
#define PD(operation) #operation, "p4_pd_velmor_switch_lagPortActionProfile_" #operation

const Site kMemberSites[] = {
    addOf(PD(add_member_with_fixL2SubintfAlignment),
          &action<FixL2SubintfAlignmentActionProfileSpec>, ""),
    addOf(PD(add_member_with_invalidateUcastEgressPort),
          &action<InvalidateUcastEgressPortActionProfileSpec>, ""),
    addOf(PD(add_member_with_setLagPort), &action<SetLagPortActionProfileSpec>, ", port=6"),
    addOf(PD(add_member_with_setPhysicalPort), &action<SetPhysicalPortActionProfileSpec>, ""),
    addOf(PD(add_member_with_setTunnelInfo), &action<SetTunnelInfoActionProfileSpec>, ""),
    modifyOf(PD(modify_member_with_fixL2SubintfAlignment),
             &action<FixL2SubintfAlignmentActionProfileSpec>, ""),
    modifyOf(PD(modify_member_with_invalidateUcastEgressPort),
             &action<InvalidateUcastEgressPortActionProfileSpec>, ""),
    modifyOf(PD(modify_member_with_setLagPort), &action<SetLagPortActionProfileSpec>, ", port=6"),
    modifyOf(PD(modify_member_with_setPhysicalPort), &action<SetPhysicalPortActionProfileSpec>, ""),
    modifyOf(PD(modify_member_with_setTunnelInfo), &action<SetTunnelInfoActionProfileSpec>, ""),
    {PD(del_member), haveMember,
     [](RunningWorld& world) { world.profile->entryDel(RuxMemberId(7)); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(), ElementsAre(adtStatus(7), delMember(1)));
         EXPECT_EQ(world.memberHandle(7), 1u);
         EXPECT_FALSE(world.entry(7));
         EXPECT_FALSE(world.memberReactor(7));
         EXPECT_EQ(world.live.growth().count("KelActionProfile"), 0u);
     }},
};

constexpr const char* kJoin = "p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group";

const Site kGroupSites[] = {
    {PD(create_group), [](RunningWorld& world) { world.haveEntry(1); },
     [](RunningWorld& world) { world.profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(),
                     ElementsAre(anonKey(10), groupStatus(10), createGroup(8)));
         EXPECT_EQ(world.helper->sdkHandles()->group().size(), 0u);
         EXPECT_FALSE(world.groupReactor(10));
         ASSERT_TRUE(world.group(10));
         EXPECT_EQ(world.group(10)->members(), 0u);
         EXPECT_EQ(world.group(10)->notifieeList()->size(), 0u);
     }},
    {PD(del_group), haveLag, [](RunningWorld& world) { world.profile->groupDel(RuxGroupId(10)); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(),
                     ElementsAre(groupStatus(10), groupStatus(10), groupStatus(10), delGroup(50)));
         EXPECT_EQ(world.groupHandle(10), 50u);
         EXPECT_FALSE(world.group(10));
         EXPECT_FALSE(world.groupReactor(10));
         EXPECT_EQ(world.live.growth().count("KelGroup"), 0u);
         EXPECT_EQ(world.live.growth().count("KelGroupMember"), 0u);
     }},
    {"add_member_to_group_of_the_initial_member", kJoin,
     [](RunningWorld& world) { world.haveEntry(1); },
     [](RunningWorld& world) { world.profile->groupIs(RuxGroupId(10), 8, 1, kSetLagPort); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(), ElementsAre(anonKey(10), groupStatus(10), createGroup(8),
                                                       groupStatus(10), joinGroup(2, 1)));
         EXPECT_EQ(world.groupHandle(10), 2u);
         ASSERT_TRUE(world.groupReactor(10));
         EXPECT_FALSE(world.joinedReactor(10, 1));
         EXPECT_TRUE(world.group(10)->member(RuxMemberId(1)));
     }},
    {"add_member_to_group_of_a_later_member", kJoin,
     [](RunningWorld& world) {
         haveLag(world);
         world.haveEntry(3);
     },
     [](RunningWorld& world) { world.group(10)->memberIs(RuxMemberId(3)); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(), ElementsAre(groupStatus(10), joinGroup(50, 51)));
         EXPECT_FALSE(world.joinedReactor(10, 3));
         ASSERT_TRUE(world.group(10)->member(RuxMemberId(3)));
         EXPECT_EQ(world.group(10)->member(RuxMemberId(3))->notifieeList()->size(), 0u);
     }},
    {PD(del_member_from_group), haveLag,
     [](RunningWorld& world) { world.group(10)->memberDel(RuxMemberId(2)); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(), ElementsAre(groupStatus(10), leaveGroup(50, 2)));
         EXPECT_FALSE(world.joinedReactor(10, 2));
         EXPECT_FALSE(world.group(10)->member(RuxMemberId(2)));
         EXPECT_EQ(world.live.growth()["KelGroupMember"], 1);
     }},
    {PD(group_member_state_set), haveLag,
     [](RunningWorld& world) { world.group(10)->member(RuxMemberId(2))->activeIs(false); },
     [](RunningWorld& world) {
         EXPECT_THAT(world.journal.take(), ElementsAre(groupStatus(10), stateSet(50, 2, 1)));
         ASSERT_TRUE(world.joinedReactor(10, 2));
         EXPECT_FALSE(world.joinedReactor(10, 2)->kelMarkedForDeletion());
         EXPECT_FALSE(world.group(10)->member(RuxMemberId(2))->active());
     }},
};

#undef PD

class ARefusedCall : public testing::TestWithParam<Site> {};

TEST_P(ARefusedCall, IsThrownByItsStatusAndLeavesTheRestAsItWas) {
    test_support::expectRefusals(GetParam());
}

INSTANTIATE_TEST_SUITE_P(OfAMember, ARefusedCall, testing::ValuesIn(kMemberSites),
                         test_support::siteName<RunningWorld>);
INSTANTIATE_TEST_SUITE_P(OfAGroup, ARefusedCall, testing::ValuesIn(kGroupSites),
                         test_support::siteName<RunningWorld>);

} // namespace
} // namespace sm_test
