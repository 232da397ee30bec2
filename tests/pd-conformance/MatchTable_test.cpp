#include "tests/pd-conformance/PdTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>

namespace pd_test {
namespace {

class MatchTableTest : public PdTest {
  protected:
    // The port of the member that a packet reaches; entries of these tests point at members.
    static std::uint16_t portFor(std::uint32_t metadata) {
        const velmor_asic_result_t result = forward(metadata);
        EXPECT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
        return result.port;
    }
    static pipe_status modify(std::uint32_t entry, std::uint32_t member) {
        return p4_pd_velmor_switch_lagGroup_modify_entry(kSession, kDevice, entry, member);
    }
    static pipe_status modifyToGroup(std::uint32_t entry, std::uint32_t group) {
        return p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(kSession, kDevice, entry,
                                                                       group);
    }
};

TEST_F(MatchTableTest, AnEmptyTableMisses) {
    const velmor_asic_result_t result = forward(1);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, result.outcome);
    EXPECT_EQ(0u, result.entry_hdl);
    EXPECT_EQ(0u, result.mbr_hdl);
    EXPECT_EQ(0u, result.grp_hdl);
    EXPECT_FALSE(result.default_entry);
}

TEST_F(MatchTableTest, AMatchReportsEntryMemberActionAndPort) {
    const std::uint32_t first = member(7);
    const std::uint32_t exact = entry({0x10}, first);
    const velmor_asic_result_t result = forward(0x10);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
    EXPECT_EQ(exact, result.entry_hdl);
    EXPECT_EQ(first, result.mbr_hdl);
    EXPECT_EQ(0u, result.grp_hdl);
    EXPECT_EQ(std::uint32_t{P4_PD_ACTION_setLagPort}, result.action);
    EXPECT_EQ(7, result.port);
    EXPECT_FALSE(result.default_entry);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(0x11).outcome);
}

TEST_F(MatchTableTest, BitsOutsideTheMaskDoNotMatter) {
    entry({0xAB12FFFF, 0xFFFF0000}, member(1));
    EXPECT_EQ(1, portFor(0xAB120000));
    EXPECT_EQ(1, portFor(0xAB12FFFF));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(0xAB130000).outcome);
}

TEST_F(MatchTableTest, AnAllZeroMaskMatchesEverything) {
    entry({5, 0}, member(1));
    for (const std::uint32_t metadata : {0u, 5u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(1, portFor(metadata));
}

TEST_F(MatchTableTest, TheHigherPriorityNumberWinsWhicheverCameFirst) {
    const std::uint32_t low = member(1);
    const std::uint32_t high = member(2);
    entry({0x10, 0xFF, 5}, low);
    entry({0x10, 0xFFFF, 6}, high);
    EXPECT_EQ(2, portFor(0x10));
    entry({0x20, 0xFFFF, 6}, high);
    entry({0x20, 0xFF, 5}, low);
    EXPECT_EQ(2, portFor(0x20));
    EXPECT_EQ(1, portFor(0x120)); // only the wide one
}

TEST_F(MatchTableTest, PriorityIsUnsigned) {
    entry({1, 0xFF, 0x7FFFFFFF}, member(1));
    entry({1, 0xFFFF, 0xFFFFFFFF}, member(2));
    EXPECT_EQ(2, portFor(1));
}

TEST_F(MatchTableTest, AmongEqualPrioritiesTheLowerHandleWins) {
    const std::uint32_t first = entry({0x10, 0xFF, 5}, member(1));
    const std::uint32_t second = entry({0x10, 0xFFFF, 5}, member(2));
    ASSERT_LT(first, second);
    EXPECT_EQ(1, portFor(0x10));
    ASSERT_EQ(0u, delEntry(first));
    EXPECT_EQ(2, portFor(0x10));
    entry({0x10, 0xFF, 5}, member(3)); // a higher handle than the second's
    EXPECT_EQ(2, portFor(0x10));
}

TEST_F(MatchTableTest, OneValueAndMaskMayStandUnderSeveralPriorities) {
    const std::uint32_t ports[] = {member(1), member(2), member(3)};
    entry({9, 0xFF, 10}, ports[0]);
    const std::uint32_t top = entry({9, 0xFF, 30}, ports[2]);
    const std::uint32_t middle = entry({9, 0xFF, 20}, ports[1]);
    EXPECT_EQ(3, portFor(9));
    ASSERT_EQ(0u, delEntry(top));
    EXPECT_EQ(2, portFor(9));
    ASSERT_EQ(0u, delEntry(middle));
    EXPECT_EQ(1, portFor(9));
}

TEST_F(MatchTableTest, AHighPriorityThatComesLaterUnderAKnownMaskWins) {
    entry({1, 0xFF, 1}, member(1));
    entry({2, 0xFFFF, 50}, member(2));
    entry({2, 0xFF, 100}, member(3));
    EXPECT_EQ(3, portFor(2));
    EXPECT_EQ(1, portFor(1));
}

TEST_F(MatchTableTest, APriorityThatWasDeletedNoLongerShadowsOtherMasks) {
    const std::uint32_t low = member(1);
    entry({9, 0xFF, 1}, low);
    const std::uint32_t top = entry({9, 0xFF, 100}, member(2));
    ASSERT_EQ(0u, delEntry(top));
    entry({9, 0xFFFF, 50}, member(3));
    EXPECT_EQ(3, portFor(9));
}

TEST_F(MatchTableTest, TheSameMaskedKeyAndPriorityIsADuplicate) {
    const std::uint32_t first = member(1);
    entry({0x12, 0xFF, 3}, first);
    const std::string before = snapshot();
    for (const Key duplicate : {Key{0x12, 0xFF, 3}, Key{0xFFFFFF12, 0xFF, 3}}) {
        std::uint32_t handle = kUntouched;
        EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, tryEntry(&handle, duplicate, first));
        EXPECT_EQ(kUntouched, handle);
    }
    EXPECT_EQ(before, snapshot());
    entry({0x12, 0xFF, 4}, first);
    entry({0x13, 0xFF, 3}, first);
    EXPECT_EQ(3u, usage().entries);
}

TEST_F(MatchTableTest, AnEntryReadsBackAsItWasWritten) {
    const std::uint32_t first = member(1);
    const std::uint32_t handle = entry({0xABCD1234, 0x0000FF00, 77}, first);
    p4_pd_velmor_switch_lagGroup_match_spec_t spec{};
    std::uint32_t priority = 0;
    std::uint32_t member = kUntouched;
    std::uint32_t group = kUntouched;
    bool hasMember = false;
    bool hasGroup = true;
    bool spare = true;
    for (const bool fromHardware : {false, true}) {
        ASSERT_EQ(0u, p4_pd_velmor_switch_lagGroup_get_entry(
                          kSession, kDevice, handle, fromHardware, &spec, &priority, &hasMember,
                          &hasGroup, &member, &group, &spare));
        EXPECT_EQ(0xABCD1234u, spec.egrMd_egrL2AintfUnresolved);
        EXPECT_EQ(0x0000FF00u, spec.egrMd_egrL2AintfUnresolved_mask);
        EXPECT_EQ(77u, priority);
        EXPECT_TRUE(hasMember);
        EXPECT_FALSE(hasGroup);
        EXPECT_EQ(first, member);
        EXPECT_EQ(0u, group);
        EXPECT_FALSE(spare);
    }
}

TEST_F(MatchTableTest, ModifyRepointsAnEntryAndKeepsItsHandleAndKey) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2);
    const std::uint32_t both = group(4);
    ASSERT_EQ(0u, join(both, second));
    const std::uint32_t handle = entry({5, 0xFF, 9}, first);

    ASSERT_EQ(0u, modifyToGroup(handle, both));
    EXPECT_EQ(handle, forward(5).entry_hdl);
    EXPECT_EQ(both, forward(5).grp_hdl);
    EXPECT_EQ(second, forward(5).mbr_hdl);
    EXPECT_EQ(0u, delMember(first)); // no longer used
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delGroup(both));

    ASSERT_EQ(0u, modify(handle, second));
    EXPECT_EQ(handle, forward(5).entry_hdl);
    EXPECT_EQ(0u, forward(5).grp_hdl);
    EXPECT_EQ(0u, delGroup(both));
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delMember(second));
}

TEST_F(MatchTableTest, AnEntryMayBeRepointedAtWhatItPointsAt) {
    const std::uint32_t first = member(1);
    const std::uint32_t handle = entry({5}, first);
    EXPECT_EQ(0u, modify(handle, first));
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delMember(first));
    ASSERT_EQ(0u, delEntry(handle));
    EXPECT_EQ(0u, delMember(first));
}

TEST_F(MatchTableTest, UnknownEntriesMembersAndGroupsAreNotFound) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    const std::uint32_t handle = entry({5}, first);
    const std::string before = snapshot();
    std::uint32_t out = kUntouched;
    for (const std::uint32_t unknown : {0u, handle + 1, UINT32_MAX}) {
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryEntry(&out, {6}, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryEntryWithGroup(&out, {6}, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryDefault(&out, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delEntry(unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, modify(unknown, first));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, modify(handle, unknown));
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, modifyToGroup(handle, unknown));
    }
    // A handle of another kind is as unknown as one that was never given out.
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryEntry(&out, {6}, both));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryEntryWithGroup(&out, {6}, first));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delEntry(first));
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(before, snapshot());
}

TEST_F(MatchTableTest, ADeletedEntryNoLongerMatchesAndItsKeyIsFree) {
    const std::uint32_t first = member(1);
    const std::uint32_t handle = entry({5}, first);
    ASSERT_EQ(0u, delEntry(handle));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(5).outcome);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delEntry(handle));
    EXPECT_LT(handle, entry({5}, first));
}

TEST_F(MatchTableTest, TheDefaultEntryTakesWhatNothingMatches) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2);
    const std::uint32_t fallback = defaultEntry(first);
    entry({5}, second);
    EXPECT_EQ(2, portFor(5));
    EXPECT_FALSE(forward(5).default_entry);
    EXPECT_EQ(1, portFor(6));
    EXPECT_TRUE(forward(6).default_entry);
    EXPECT_EQ(fallback, forward(6).entry_hdl);
}

TEST_F(MatchTableTest, AnOrdinaryEntryOfTheAllZeroKeyGoesBeforeTheDefaultEntry) {
    defaultEntry(member(1));
    entry({0, 0, 0}, member(2));
    EXPECT_EQ(2, portFor(123));
}

TEST_F(MatchTableTest, SettingTheDefaultAgainKeepsItsHandle) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(2);
    const std::uint32_t handle = defaultEntry(first);
    std::uint32_t again = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(kSession, kAllPipes,
                                                                               both, &again));
    EXPECT_EQ(handle, again);
    EXPECT_EQ(0u, delMember(first));
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delGroup(both));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER}, forward(1).outcome);
}

TEST_F(MatchTableTest, AFailedSetDefaultKeepsTheDefaultAndTheOutput) {
    const std::uint32_t first = member(1);
    defaultEntry(first);
    const std::string before = snapshot();
    std::uint32_t out = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryDefault(&out, kUnknown));
    EXPECT_EQ(kUntouched, out);
    EXPECT_EQ(before, snapshot());
}

TEST_F(MatchTableTest, ResettingTheDefaultRestoresTheMissAndEndsItsHandle) {
    const std::uint32_t first = member(1);
    EXPECT_EQ(0u, resetDefault()); // nothing set: nothing to do
    const std::uint32_t handle = defaultEntry(first);
    ASSERT_EQ(0u, resetDefault());
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(1).outcome);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, modify(handle, first));
    EXPECT_LT(handle, defaultEntry(first));
    ASSERT_EQ(0u, resetDefault());
    EXPECT_EQ(0u, delMember(first));
}

TEST_F(MatchTableTest, TheDefaultEntryIsReadAndRepointedByItsHandleButNotDeleted) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2);
    const std::uint32_t handle = defaultEntry(first);
    ASSERT_EQ(0u, modify(handle, second));
    EXPECT_EQ(2, portFor(1));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, delEntry(handle));
    EXPECT_EQ(2, portFor(1));
    const std::string state = snapshot();
    EXPECT_NE(std::string::npos,
              state.find("default " + std::to_string(handle) + ": 0 0/0 priority 0 member 1 " +
                         std::to_string(second) + " group 0 0"))
        << state;
    EXPECT_EQ(0u, usage().entries);
}

} // namespace
} // namespace pd_test
