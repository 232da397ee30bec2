#include "tests/pd-conformance/PdTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>
#include <vector>

namespace pd_test {
namespace {

constexpr const char* kAddMember =
    "p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort";
constexpr const char* kCreateGroup = "p4_pd_velmor_switch_lagPortActionProfile_create_group";

class FaultPlanTest : public PdTest {
  protected:
    static void plan(const char* operation, std::uint32_t nth, pipe_status status,
                     std::uint32_t mode) {
        ASSERT_EQ(0u, velmor_asic_fault_plan(operation, nth, status, mode));
    }
    static std::vector<pipe_status> addMembers(int count) {
        std::vector<pipe_status> statuses;
        for (int i = 0; i < count; ++i) {
            std::uint32_t handle = 0;
            statuses.push_back(tryMember(&handle));
        }
        return statuses;
    }
    using Statuses = std::vector<pipe_status>;
};

TEST_F(FaultPlanTest, TheNthCallFailsOnce) {
    plan(kAddMember, 3, 9, VELMOR_ASIC_FAULT_ONCE);
    EXPECT_EQ((Statuses{0, 0, 9, 0, 0}), addMembers(5));
    EXPECT_EQ(0u, velmor_asic_fault_count());
}

TEST_F(FaultPlanTest, FromTheNthCallOnEveryCallFails) {
    plan(kAddMember, 2, 14, VELMOR_ASIC_FAULT_ALWAYS);
    EXPECT_EQ((Statuses{0, 14, 14, 14}), addMembers(4));
    EXPECT_EQ(1u, velmor_asic_fault_count());
    velmor_asic_fault_clear();
    EXPECT_EQ((Statuses{0}), addMembers(1));
}

TEST_F(FaultPlanTest, AFaultyCallDoesNothing) {
    member(1);
    plan(kAddMember, 1, 9, VELMOR_ASIC_FAULT_ONCE);
    const std::string before = snapshot();
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(9u, tryMember(&handle));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_EQ(before, snapshot());
}

TEST_F(FaultPlanTest, ACallThatWouldFailAnywayGetsThePlannedStatus) {
    plan(kAddMember, 1, 23, VELMOR_ASIC_FAULT_ONCE);
    EXPECT_EQ(23u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
                       99, {99, 99}, nullptr, nullptr));
}

TEST_F(FaultPlanTest, OtherOperationsDoNotCount) {
    plan(kCreateGroup, 2, 9, VELMOR_ASIC_FAULT_ONCE);
    EXPECT_EQ((Statuses{0, 0, 0}), addMembers(3));
    std::uint32_t handle = 0;
    EXPECT_EQ(0u, tryGroup(&handle, 1));
    EXPECT_EQ((Statuses{0}), addMembers(1));
    EXPECT_EQ(9u, tryGroup(&handle, 1));
}

TEST_F(FaultPlanTest, CallsCountWhetherTheySucceedOrNot) {
    plan(kCreateGroup, 2, 9, VELMOR_ASIC_FAULT_ONCE);
    std::uint32_t handle = 0;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryGroup(&handle, 0));
    EXPECT_EQ(9u, tryGroup(&handle, 1));
}

TEST_F(FaultPlanTest, FaultsOfOneOperationCountSideBySide) {
    plan(kAddMember, 2, 9, VELMOR_ASIC_FAULT_ONCE);
    plan(kAddMember, 4, 16, VELMOR_ASIC_FAULT_ALWAYS);
    plan(kAddMember, 1, 2, VELMOR_ASIC_FAULT_ONCE);
    EXPECT_EQ((Statuses{2, 9, 0, 16, 16}), addMembers(5));
}

TEST_F(FaultPlanTest, OfTwoFaultsThatAreDueTheOnePlannedFirstGivesTheStatus) {
    plan(kAddMember, 1, 9, VELMOR_ASIC_FAULT_ONCE);
    plan(kAddMember, 1, 16, VELMOR_ASIC_FAULT_ONCE);
    EXPECT_EQ((Statuses{9, 0}), addMembers(2));
    EXPECT_EQ(0u, velmor_asic_fault_count());
}

TEST_F(FaultPlanTest, AnyStatusButSuccessCanBePlanned) {
    for (const pipe_status status : {1u, 17u, 30u, 0x80000000u, 0xFFFFFFFFu}) {
        plan(kAddMember, 1, status, VELMOR_ASIC_FAULT_ONCE);
        EXPECT_EQ((Statuses{status, 0}), addMembers(2));
    }
}

TEST_F(FaultPlanTest, RefusesWhatItCannotPlan) {
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan(nullptr, 1, 9, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan("", 1, 9, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan("create_group", 1, 9, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan(kAddMember, 0, 9, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan(kAddMember, 1, 0, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_fault_plan(kAddMember, 1, 9, 2));
    EXPECT_EQ(0u, velmor_asic_fault_count());
    EXPECT_EQ((Statuses{0}), addMembers(1));
}

} // namespace
} // namespace pd_test
