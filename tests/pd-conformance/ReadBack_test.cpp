#include "tests/pd-conformance/PdTest.h"

#include <vector>

namespace pd_test {
namespace {

using ReadBackTest = PdTest;
using Handles = std::vector<std::uint32_t>;
using First = pipe_status (*)(p4_pd_sess_hdl_t, p4_pd_dev_target_t, std::uint32_t*);
using Next = pipe_status (*)(p4_pd_sess_hdl_t, p4_pd_dev_target_t, std::uint32_t, std::uint32_t*);

struct Walk {
    First first;
    Next next;

    // The handles of a walk; the call that ends it leaves its output untouched.
    [[nodiscard]] Handles handles(p4_pd_dev_target_t target = kAllPipes) const {
        Handles seen;
        std::uint32_t handle = kUntouched;
        pipe_status status = first(kSession, target, &handle);
        while (status == 0) {
            seen.push_back(handle);
            status = next(kSession, target, handle, &handle);
        }
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, status);
        EXPECT_EQ(seen.empty() ? kUntouched : seen.back(), handle);
        return seen;
    }
};

const Walk kEntries{p4_pd_velmor_switch_lagGroup_get_first_entry_handle,
                    p4_pd_velmor_switch_lagGroup_get_next_entry_handle};
const Walk kMembers{p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle,
                    p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle};
const Walk kGroups{p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle,
                   p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle};

TEST_F(ReadBackTest, WalksOfAnEmptyChipEndAtOnce) {
    for (const Walk& walk : {kEntries, kMembers, kGroups})
        EXPECT_EQ(Handles{}, walk.handles());
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
              p4_pd_velmor_switch_lagGroup_get_default_entry_handle(kSession, kAllPipes, &handle));
    EXPECT_EQ(kUntouched, handle);
}

TEST_F(ReadBackTest, WalksVisitTheObjectsInRisingOrder) {
    Handles members;
    Handles groups;
    Handles entries;
    for (std::uint32_t i = 0; i < 5; ++i) {
        members.push_back(member(1));
        groups.push_back(group(2));
        entries.push_back(entry({i}, members.back()));
    }
    const std::uint32_t fallback = defaultEntry(members[0]);
    EXPECT_EQ(members, kMembers.handles());
    EXPECT_EQ(groups, kGroups.handles());
    EXPECT_EQ(entries, kEntries.handles()); // without the default entry
    std::uint32_t handle = 0;
    EXPECT_EQ(0u,
              p4_pd_velmor_switch_lagGroup_get_default_entry_handle(kSession, kAllPipes, &handle));
    EXPECT_EQ(fallback, handle);
}

TEST_F(ReadBackTest, AWalkGoesOnFromAnObjectThatIsGone) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2);
    const std::uint32_t third = member(3);
    ASSERT_EQ(0u, delMember(second));
    std::uint32_t next = 0;
    ASSERT_EQ(0u, kMembers.next(kSession, kAllPipes, second, &next));
    EXPECT_EQ(third, next);
    EXPECT_EQ((Handles{first, third}), kMembers.handles());
}

TEST_F(ReadBackTest, AGroupReadsBackItsSizeAndItsMembersInRisingOrder) {
    const std::uint32_t low = member(1);
    const std::uint32_t middle = member(2);
    const std::uint32_t high = member(3);
    const std::uint32_t three = group(3);
    for (const std::uint32_t handle : {high, low, middle})
        ASSERT_EQ(0u, join(three, handle));

    std::uint16_t size = 0;
    std::uint32_t count = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_get_group(kSession, kDevice, three,
                                                                     &size, &count));
    EXPECT_EQ(3, size);
    EXPECT_EQ(3u, count);

    Handles seen;
    std::uint32_t handle = 0;
    pipe_status status = p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(
        kSession, kDevice, three, &handle);
    for (; status == 0; status = p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
                            kSession, kDevice, three, handle, &handle))
        seen.push_back(handle);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, status);
    EXPECT_EQ((Handles{low, middle, high}), seen);

    ASSERT_EQ(0u, leave(three, middle));
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
                      kSession, kDevice, three, middle, &handle));
    EXPECT_EQ(high, handle);
}

TEST_F(ReadBackTest, WhatDoesNotExistIsNotFound) {
    std::uint16_t size = 0xBEEF;
    std::uint32_t out = kUntouched;
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{0xBEEF};
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, p4_pd_velmor_switch_lagPortActionProfile_get_group(
                                              kSession, kDevice, kUnknown, &size, &out));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, p4_pd_velmor_switch_lagPortActionProfile_get_member(
                                              kSession, kDevice, kUnknown, &out, &spec));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
              p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(kSession, kDevice,
                                                                              kUnknown, &out));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
              p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(kSession, kDevice,
                                                                              group(2), &out));
    EXPECT_EQ(0xBEEF, size);
    EXPECT_EQ(0xBEEF, spec.action_egrL2AintfPort);
    EXPECT_EQ(kUntouched, out);
}

} // namespace
} // namespace pd_test
