#include "tests/pd-conformance/PdTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>

namespace pd_test {
namespace {

using ActionProfileTest = PdTest;
using AddMember = pipe_status (*)(p4_pd_sess_hdl_t, p4_pd_dev_target_t, p4_pd_mbr_hdl_t*);
using ModifyMember = pipe_status (*)(p4_pd_sess_hdl_t, int, p4_pd_mbr_hdl_t);

struct PlainAction {
    std::uint32_t action;
    AddMember add;
    ModifyMember modify;
};

// The four actions without data.
const PlainAction kPlainActions[] = {
    {P4_PD_ACTION_fixL2SubintfAlignment,
     p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment,
     p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment},
    {P4_PD_ACTION_invalidateUcastEgressPort,
     p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort,
     p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort},
    {P4_PD_ACTION_setPhysicalPort,
     p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort,
     p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort},
    {P4_PD_ACTION_setTunnelInfo,
     p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo,
     p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo},
};

void expectMember(std::uint32_t handle, std::uint32_t action, std::uint16_t port) {
    std::uint32_t readAction = kUntouched;
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{0xBEEF};
    EXPECT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_get_member(kSession, kDevice, handle,
                                                                      &readAction, &spec));
    EXPECT_EQ(action, readAction);
    EXPECT_EQ(port, spec.action_egrL2AintfPort);
}

TEST_F(ActionProfileTest, MembersCarryEachOfTheFiveActions) {
    expectMember(member(0xFFFF), P4_PD_ACTION_setLagPort, 0xFFFF);
    for (const PlainAction& plain : kPlainActions) {
        std::uint32_t handle = 0;
        ASSERT_EQ(0u, plain.add(kSession, kAllPipes, &handle));
        expectMember(handle, plain.action, 0);
    }
    EXPECT_EQ(5u, usage().members);
}

TEST_F(ActionProfileTest, ModifyChangesAMemberInPlaceAlsoWhileItIsUsed) {
    const std::uint32_t handle = member(5);
    entry({1}, handle);
    for (const PlainAction& plain : kPlainActions) {
        ASSERT_EQ(0u, plain.modify(kSession, kDevice, handle));
        expectMember(handle, plain.action, 0);
        EXPECT_EQ(plain.action, forward(1).action);
        EXPECT_EQ(0, forward(1).port);
    }
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{6};
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
                      kSession, kDevice, handle, &spec));
    expectMember(handle, P4_PD_ACTION_setLagPort, 6);
    EXPECT_EQ(6, forward(1).port);
}

TEST_F(ActionProfileTest, UnknownMembersAndGroupsAreNotFound) {
    const std::uint32_t known = member(1);
    const std::uint32_t both = group(2);
    const std::uint32_t handle = entry({1}, known);
    const std::string before = snapshot();
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{6};
    for (const std::uint32_t unknown : {0u, handle, UINT32_MAX}) {
        for (const PlainAction& plain : kPlainActions)
            EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, plain.modify(kSession, kDevice, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
                  p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
                      kSession, kDevice, unknown, &spec));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delGroup(unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, join(both, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, join(unknown, known));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, leave(unknown, known));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, setState(unknown, known, P4_PD_MEMBER_ACTIVE));
    }
    EXPECT_EQ(before, snapshot());
}

TEST_F(ActionProfileTest, AMemberOutsideTheGroupHasNoMembershipToRemoveOrChange) {
    const std::uint32_t known = member(1);
    const std::uint32_t both = group(2);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, leave(both, known));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, setState(both, known, P4_PD_MEMBER_INACTIVE));
    ASSERT_EQ(0u, join(both, known));
    ASSERT_EQ(0u, leave(both, known));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, leave(both, known));
}

TEST_F(ActionProfileTest, GroupSizeMustBeWithinTheLimit) {
    std::uint32_t handle = kUntouched;
    for (const std::uint16_t size : {0, 513, 0xFFFF})
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryGroup(&handle, size));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_EQ(0u, usage().groups);
    group(1);
    group(512);
    EXPECT_EQ(2u, usage().groups);
}

TEST_F(ActionProfileTest, ASecondMembershipOfTheSameMemberIsADuplicate) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    ASSERT_EQ(0u, join(both, first));
    ASSERT_EQ(0u, setState(both, first, P4_PD_MEMBER_INACTIVE));
    const std::string before = snapshot();
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, join(both, first));
    EXPECT_EQ(before, snapshot());
}

TEST_F(ActionProfileTest, ADuplicateInAFullGroupIsADuplicate) {
    const std::uint32_t first = member(1);
    const std::uint32_t one = group(1);
    ASSERT_EQ(0u, join(one, first));
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, join(one, first));
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, join(one, member(2)));
}

TEST_F(ActionProfileTest, MemberStateIsZeroOrOne) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    ASSERT_EQ(0u, join(both, first));
    const std::string before = snapshot();
    for (const std::uint32_t state : {2u, UINT32_MAX})
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, setState(both, first, state));
    EXPECT_EQ(before, snapshot());
}

TEST_F(ActionProfileTest, ANewMembershipIsActiveAlsoAfterTheMemberLeftInactive) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    std::uint32_t state = kUntouched;
    const auto readState = [&] {
        return p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(kSession, kDevice,
                                                                               both, first, &state);
    };
    ASSERT_EQ(0u, join(both, first));
    ASSERT_EQ(0u, readState());
    EXPECT_EQ(std::uint32_t{P4_PD_MEMBER_ACTIVE}, state);
    ASSERT_EQ(0u, setState(both, first, P4_PD_MEMBER_INACTIVE));
    ASSERT_EQ(0u, readState());
    EXPECT_EQ(std::uint32_t{P4_PD_MEMBER_INACTIVE}, state);
    ASSERT_EQ(0u, leave(both, first));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, readState());
    ASSERT_EQ(0u, join(both, first));
    ASSERT_EQ(0u, readState());
    EXPECT_EQ(std::uint32_t{P4_PD_MEMBER_ACTIVE}, state);
}

TEST_F(ActionProfileTest, SettingTheStateThatHoldsChangesNothing) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    entryWithGroup({1}, both);
    ASSERT_EQ(0u, join(both, first));
    for (const std::uint32_t state : {P4_PD_MEMBER_ACTIVE, P4_PD_MEMBER_INACTIVE}) {
        ASSERT_EQ(0u, setState(both, first, state));
        const std::string before = snapshot();
        const std::uint32_t outcome = forward(1).outcome;
        EXPECT_EQ(0u, setState(both, first, state));
        EXPECT_EQ(before, snapshot());
        EXPECT_EQ(outcome, forward(1).outcome);
    }
}

TEST_F(ActionProfileTest, AMemberHasAStateOfItsOwnInEveryGroup) {
    const std::uint32_t first = member(1);
    const std::uint32_t left = group(1);
    const std::uint32_t right = group(1);
    ASSERT_EQ(0u, join(left, first));
    ASSERT_EQ(0u, join(right, first));
    entryWithGroup({1}, left);
    entryWithGroup({2}, right);
    ASSERT_EQ(0u, setState(left, first, P4_PD_MEMBER_INACTIVE));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER}, forward(1).outcome);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, forward(2).outcome);
}

TEST_F(ActionProfileTest, AMemberIsInUseUntilTheLastEntryAndGroupLetItGo) {
    const std::uint32_t used = member(1);
    const std::uint32_t left = group(2);
    const std::uint32_t right = group(2);
    const std::uint32_t match = entry({1}, used);
    defaultEntry(used);
    ASSERT_EQ(0u, join(left, used));
    ASSERT_EQ(0u, join(right, used));
    const auto expectInUse = [&] {
        const std::string before = snapshot();
        EXPECT_EQ(P4_PD_STATUS_IN_USE, delMember(used));
        EXPECT_EQ(before, snapshot());
    };
    expectInUse();
    ASSERT_EQ(0u, delEntry(match));
    expectInUse();
    ASSERT_EQ(0u, leave(left, used));
    expectInUse();
    ASSERT_EQ(0u, resetDefault());
    expectInUse();
    ASSERT_EQ(0u, setState(right, used, P4_PD_MEMBER_INACTIVE)); // inactive is still a member
    expectInUse();
    ASSERT_EQ(0u, delGroup(right)); // drops its memberships
    EXPECT_EQ(0u, delMember(used));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(used));
}

TEST_F(ActionProfileTest, AGroupIsInUseUntilTheLastEntryLetsItGo) {
    const std::uint32_t both = group(2);
    ASSERT_EQ(0u, join(both, member(1)));
    const std::uint32_t first = entryWithGroup({1}, both);
    const std::uint32_t second = entryWithGroup({2}, both);
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delGroup(both));
    ASSERT_EQ(0u, delEntry(first));
    const std::string before = snapshot();
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delGroup(both));
    EXPECT_EQ(before, snapshot());
    ASSERT_EQ(0u, delEntry(second));
    EXPECT_EQ(0u, delGroup(both));
}

TEST_F(ActionProfileTest, HandlesAreNeverZeroAndNeverUsedAgainWhateverTheirKind) {
    std::uint32_t last = 0;
    const auto expectNew = [&last](std::uint32_t handle) {
        EXPECT_LT(last, handle);
        last = handle;
    };
    for (int round = 0; round < 3; ++round) {
        const std::uint32_t first = member(1);
        expectNew(first);
        const std::uint32_t both = group(2);
        expectNew(both);
        const std::uint32_t match = entry({1}, first);
        expectNew(match);
        expectNew(defaultEntry(first));
        ASSERT_EQ(0u, delEntry(match));
        ASSERT_EQ(0u, resetDefault());
        ASSERT_EQ(0u, delGroup(both));
        ASSERT_EQ(0u, delMember(first));
    }
}

} // namespace
} // namespace pd_test
