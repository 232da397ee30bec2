// Chips and the library around them.

#include "tests/asic/AsicTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>

namespace asic_test {
namespace {

using ChipTest = AsicTest;

bool exists(int device) {
    p4_pd_velmor_switch_usage_t usage{};
    return p4_pd_velmor_switch_get_usage(kSession, {device, P4_PD_ALL_PIPES}, &usage) == 0;
}

TEST_F(ChipTest, DeviceZeroExistsFromTheStartWithTheDefaultCapacities) {
    EXPECT_TRUE(exists(0));
    EXPECT_FALSE(exists(1));
    const p4_pd_velmor_switch_usage_t counters = usage();
    EXPECT_EQ(4096u, counters.entry_capacity);
    EXPECT_EQ(65536u, counters.member_capacity);
    EXPECT_EQ(4096u, counters.group_capacity);
    EXPECT_EQ(512u, counters.group_size_limit);
    p4_pd_velmor_switch_usage_t unused{};
    EXPECT_EQ(0u, p4_pd_velmor_switch_get_usage(kSession, pipe(3), &unused));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_get_usage(kSession, pipe(4), &unused));
}

TEST_F(ChipTest, ChipsAreCreatedAndDestroyedByDeviceId) {
    ASSERT_EQ(0u, velmor_asic_chip_create(7, nullptr));
    EXPECT_TRUE(exists(7));
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, velmor_asic_chip_create(7, nullptr));
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, velmor_asic_chip_create(0, nullptr));
    ASSERT_EQ(0u, velmor_asic_chip_destroy(7));
    EXPECT_FALSE(exists(7));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_destroy(7));
    ASSERT_EQ(0u, velmor_asic_chip_destroy(0));
    EXPECT_FALSE(exists(0));
}

TEST_F(ChipTest, AConfigurationOutOfRangeIsRefused) {
    const auto create = [](int device, auto change) {
        velmor_asic_chip_config_t config = defaultConfig();
        change(config);
        return velmor_asic_chip_create(device, &config);
    };
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, create(-1, [](auto&) {}));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, create(1, [](auto& c) { c.pipes = 0; }));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, create(1, [](auto& c) { c.pipes = 65; }));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, create(1, [](auto& c) { c.group_size_limit = 0; }));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, create(1, [](auto& c) { c.first_handle = 0; }));
    EXPECT_FALSE(exists(1));
    EXPECT_EQ(0u, create(1, [](auto& c) { c.pipes = 64; }));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_config_default(nullptr));
}

TEST_F(ChipTest, ChipsShareNothing) {
    velmor_asic_chip_config_t config = defaultConfig();
    config.first_handle = 1000;
    ASSERT_EQ(0u, velmor_asic_chip_create(1, &config));
    entry({1}, member(7));
    const std::string before = snapshot(0);
    const p4_pd_dev_target_t other{1, P4_PD_ALL_PIPES};
    EXPECT_EQ(1000u, member(8, other));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
              p4_pd_velmor_switch_lagPortActionProfile_del_member(kSession, 1, 1));
    EXPECT_EQ(before, snapshot(0));
    velmor_asic_result_t result{};
    ASSERT_EQ(0u, velmor_asic_forward(1, 0, 1, 0, &result));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, result.outcome);
}

TEST_F(ChipTest, ResetPutsEverythingBackToTheStart) {
    const std::string fresh = snapshot();
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    ASSERT_EQ(0u, velmor_asic_chip_create(1, nullptr));
    entry({1}, member(7));
    ASSERT_EQ(0u, velmor_asic_fault_plan("p4_pd_velmor_switch_client_init", 1, 9,
                                         VELMOR_ASIC_FAULT_ALWAYS));
    velmor_asic_reset();
    EXPECT_EQ(fresh, snapshot());
    EXPECT_FALSE(exists(1));
    EXPECT_EQ(0u, velmor_asic_fault_count());
    EXPECT_EQ(P4_PD_STATUS_SESSION_NOT_FOUND, p4_pd_velmor_switch_client_cleanup(session));
    EXPECT_EQ(1u, member(7)); // a new chip counts its handles anew
}

TEST_F(ChipTest, OutcomesHaveNames) {
    EXPECT_STREQ("forwarded", velmor_asic_outcome_name(VELMOR_ASIC_FORWARDED));
    EXPECT_STREQ("miss", velmor_asic_outcome_name(VELMOR_ASIC_MISS));
    EXPECT_STREQ("unknown", velmor_asic_outcome_name(3));
}

} // namespace
} // namespace asic_test
