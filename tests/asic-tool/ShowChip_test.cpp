#include "asic-tool/ShowChip.h"

#include "tests/asic/AsicTest.h"

#include <stdexcept>

namespace asic_test {
namespace {

/// A chip with something of everything, so that describing it asks for everything.
class ShowChipTest : public AsicTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        AsicTest::SetUp();
        const std::uint32_t both = group(4);
        const std::uint32_t one = member(11);
        ASSERT_EQ(0u, join(both, one));
        ASSERT_EQ(0u, join(both, member(12)));
        entryWithGroup({1}, both);
        defaultEntry(one);
    }

    /// Why the chip cannot be described; empty when it can.
    static std::string complaint(int device) {
        try {
            static_cast<void>(asic_tool::describeChip(device));
        } catch (const std::runtime_error& e) {
            return e.what();
        }
        return "";
    }
};

TEST_F(ShowChipTest, AChipThatIsNotThereIsAnErrorAndNotAnEmptyOne) {
    EXPECT_EQ("", complaint(kDevice));
    EXPECT_EQ("the chip cannot be read: status 3", complaint(7));
}

TEST_P(ShowChipTest, AChipThatCannotBeReadIsAnErrorAndNotAnEmptyOne) {
    const std::string operation = std::string("p4_pd_velmor_switch_") + GetParam();
    ASSERT_EQ(0u, velmor_asic_fault_plan(operation.c_str(), 1, P4_PD_STATUS_NO_SYS_RESOURCES,
                                         VELMOR_ASIC_FAULT_ONCE));
    EXPECT_EQ("the chip cannot be read: status 2", complaint(kDevice));
    EXPECT_EQ("", complaint(kDevice));
}

INSTANTIATE_TEST_SUITE_P(Reads, ShowChipTest,
                         testing::Values("get_usage", "lagGroup_get_first_entry_handle",
                                         "lagGroup_get_next_entry_handle",
                                         "lagGroup_get_default_entry_handle",
                                         "lagPortActionProfile_get_first_member_handle",
                                         "lagPortActionProfile_get_next_member_handle",
                                         "lagPortActionProfile_get_member",
                                         "lagPortActionProfile_get_first_group_handle",
                                         "lagPortActionProfile_get_next_group_handle",
                                         "lagPortActionProfile_get_group",
                                         "lagPortActionProfile_get_first_group_member",
                                         "lagPortActionProfile_get_next_group_member",
                                         "lagPortActionProfile_group_member_state_get"),
                         [](const auto& read) { return std::string(read.param); });

/// What goes away between the walk that finds it and its description is left out.
TEST_F(ShowChipTest, WhatIsGoneWhenItIsToBeDescribedIsLeftOut) {
    ASSERT_EQ(0u, velmor_asic_fault_plan("p4_pd_velmor_switch_lagPortActionProfile_get_member", 1,
                                         P4_PD_STATUS_OBJ_NOT_FOUND, VELMOR_ASIC_FAULT_ONCE));
    const auto chip = asic_tool::describeChip(kDevice);
    EXPECT_EQ(R"([{"handle":3,"action":"setLagPort","port":12}])",
              chip["scopes"].back()["members"].dump());
}

} // namespace
} // namespace asic_test
