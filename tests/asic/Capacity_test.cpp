#include "tests/asic/AsicTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>
#include <vector>

namespace asic_test {
namespace {

class CapacityTest : public AsicTest {
  protected:
    void SetUp() override {
        AsicTest::SetUp();
        velmor_asic_chip_config_t small = defaultConfig();
        small.entry_capacity = 2;
        small.member_capacity = 3;
        small.group_capacity = 2;
        small.group_size_limit = 2;
        replaceChip(small);
    }
};

TEST_F(CapacityTest, AFullTableRefusesEntriesUntilOneGoes) {
    const std::uint32_t first = member(1);
    const std::uint32_t gone = entry({1}, first);
    entry({2}, first);
    const std::string before = snapshot();
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryEntry(&out, {3}, first));
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, tryEntry(&out, {2}, first));
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(3).outcome);
    ASSERT_EQ(0u, delEntry(gone));
    entry({3}, first);
    EXPECT_EQ(1, forward(3).port);
}

TEST_F(CapacityTest, TheDefaultEntryNeedsNoSpace) {
    const std::uint32_t first = member(1);
    entry({1}, first);
    entry({2}, first);
    defaultEntry(first);
    EXPECT_EQ(2u, usage().entries);
}

TEST_F(CapacityTest, AFullProfileRefusesMembersOfEveryAction) {
    for (int i = 0; i < 3; ++i)
        member(1);
    const std::string before = snapshot();
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryMember(&out));
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE,
              p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
                  kSession, kAllPipes, &out));
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(before, snapshot());
}

TEST_F(CapacityTest, AFullSelectorRefusesGroups) {
    const std::uint32_t gone = group(1);
    group(2);
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryGroup(&out, 1));
    EXPECT_EQ(kUntouched, out);
    ASSERT_EQ(0u, delGroup(gone));
    group(1);
}

TEST_F(CapacityTest, AGroupTakesNoMoreMembersThanItAskedFor) {
    const std::uint32_t two = group(2);
    const std::uint32_t first = member(1);
    ASSERT_EQ(0u, join(two, first));
    ASSERT_EQ(0u, join(two, member(2)));
    ASSERT_EQ(0u, setState(two, first, P4_PD_MEMBER_INACTIVE)); // still takes its place
    const std::uint32_t third = member(3);
    const std::string before = snapshot();
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, join(two, third));
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(0u, delMember(third)); // the failed call did not mark it used
    ASSERT_EQ(0u, leave(two, first));
    EXPECT_EQ(0u, join(two, first));
}

TEST_F(CapacityTest, EveryScopeHasItsOwnCapacity) {
    for (const p4_pd_dev_target_t scope : {kAllPipes, pipe(0), pipe(3)}) {
        for (int i = 0; i < 3; ++i)
            member(1, scope);
        std::uint32_t out = 0;
        EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryMember(&out, 1, scope));
        EXPECT_EQ(3u, usage(scope).members);
    }
    EXPECT_EQ(0u, usage(pipe(1)).members);
}

TEST_F(CapacityTest, UsageReportsWhatIsInUseAgainstTheCapacities) {
    const std::uint32_t first = member(1);
    member(2);
    group(2);
    entry({1}, first);
    const p4_pd_velmor_switch_usage_t counters = usage();
    EXPECT_EQ(1u, counters.entries);
    EXPECT_EQ(2u, counters.entry_capacity);
    EXPECT_EQ(2u, counters.members);
    EXPECT_EQ(3u, counters.member_capacity);
    EXPECT_EQ(1u, counters.groups);
    EXPECT_EQ(2u, counters.group_capacity);
    EXPECT_EQ(2u, counters.group_size_limit);
}

TEST_F(CapacityTest, ATableOfCapacityZeroIsAlwaysFull) {
    velmor_asic_chip_config_t none = defaultConfig();
    none.entry_capacity = 0;
    none.group_capacity = 0;
    none.member_capacity = 1;
    replaceChip(none);
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryGroup(&out, 1));
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryEntry(&out, {1}, member(1)));
}

TEST_F(CapacityTest, WhenTheLastHandleIsGivenOutNothingNewCanBeMade) {
    velmor_asic_chip_config_t late = defaultConfig();
    late.first_handle = UINT32_MAX - 1;
    replaceChip(late);
    const std::uint32_t first = member(1);
    EXPECT_EQ(UINT32_MAX - 1, first);
    EXPECT_EQ(UINT32_MAX, group(2));
    const std::string before = snapshot();
    std::uint32_t out = kUntouched;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryMember(&out));
        EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryGroup(&out, 1));
        EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryEntry(&out, {1}, first));
        EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryDefault(&out, first));
    }
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(0u, delMember(first)); // the failed calls did not mark it used
}

class DefaultCapacityTest : public AsicTest {};

TEST_F(DefaultCapacityTest, TheDefaultChipTakesWhatItPromisesAndNoMore) {
    std::vector<std::uint32_t> members(65536);
    for (std::uint32_t& handle : members)
        handle = member(1);
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryMember(&out));

    const std::uint32_t largest = group(512);
    for (std::size_t i = 0; i < 512; ++i)
        ASSERT_EQ(0u, join(largest, members[i * 128]));
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, join(largest, members[1]));
    for (int i = 1; i < 4096; ++i)
        group(1);
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryGroup(&out, 1));

    for (std::uint32_t i = 0; i < 4096; ++i)
        entry({i, 0xFFFF, i}, members[i]);
    EXPECT_EQ(P4_PD_STATUS_NO_SPACE, tryEntry(&out, {5000}, members[0]));
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(members[4095], forward(4095).mbr_hdl);
}

} // namespace
} // namespace asic_test
