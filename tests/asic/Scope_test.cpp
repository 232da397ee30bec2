// Pipe scopes: who sees which objects, and which objects may refer to each other.

#include "tests/asic/AsicTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <string>

namespace asic_test {
namespace {

using ScopeTest = AsicTest;

TEST_F(ScopeTest, AnEntryOfAllPipesIsSeenInEveryPipe) {
    entry({1}, member(7));
    for (const std::uint16_t id : {0, 1, 2, 3})
        EXPECT_EQ(7, forward(1, 0, id).port);
    EXPECT_EQ(7, forward(1, 0, P4_PD_ALL_PIPES).port);
}

TEST_F(ScopeTest, AnEntryOfOnePipeIsSeenInThatPipeOnly) {
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    entry({1}, member(7, pipe(2)), pipe(2));
    for (const std::uint16_t id : {0, 1, 3})
        EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(1, 0, id).outcome);
    EXPECT_EQ(7, forward(1, 0, 2).port);
}

TEST_F(ScopeTest, PipesHaveTheirOwnKeysAndDefaults) {
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    for (const std::uint16_t id : {0, 1}) {
        const std::uint32_t match = member(static_cast<std::uint16_t>(10 + id), pipe(id));
        const std::uint32_t fallback = member(static_cast<std::uint16_t>(20 + id), pipe(id));
        entry({1}, match, pipe(id));
        defaultEntry(fallback, pipe(id));
    }
    EXPECT_EQ(10, forward(1, 0, 0).port);
    EXPECT_EQ(20, forward(2, 0, 0).port);
    EXPECT_EQ(11, forward(1, 0, 1).port);
    EXPECT_EQ(21, forward(2, 0, 1).port);
    ASSERT_EQ(0u, resetDefault(pipe(0)));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(2, 0, 0).outcome);
    EXPECT_EQ(21, forward(2, 0, 1).port);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(2, 0, 3).outcome);
}

TEST_F(ScopeTest, APacketTravelsInAPipeThatTheChipHas) {
    velmor_asic_result_t result{};
    result.port = 0xBEEF;
    for (const std::uint16_t id : {4, 0xFFFE})
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_forward(kDevice, id, 1, 0, &result));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_forward(1, 0, 1, 0, &result));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_forward(kDevice, 0, 1, 0, nullptr));
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG,
              velmor_asic_forward(kDevice, P4_PD_ALL_PIPES, 1, 0, &result));
    EXPECT_EQ(0xBEEF, result.port);
}

TEST_F(ScopeTest, AnEntryThatNoPacketCouldSeeIsRefused) {
    const std::uint32_t inPipe = member(1, pipe(0));
    const std::uint32_t inAll = member(1);
    const auto expectRefused = [](std::uint32_t member, p4_pd_dev_target_t target) {
        const std::string before = snapshot();
        std::uint32_t out = kUntouched;
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryEntry(&out, {1}, member, target));
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryDefault(&out, member, target));
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, resetDefault(target));
        EXPECT_EQ(kUntouched, out);
        EXPECT_EQ(before, snapshot());
    };
    expectRefused(inPipe, pipe(0));
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    expectRefused(inAll, kAllPipes);
    entry({1}, inPipe, pipe(0));
}

TEST_F(ScopeTest, AnEntryRefersToItsOwnScopeOnly) {
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    const std::uint32_t own = member(1, pipe(0));
    const std::uint32_t match = entry({1}, own, pipe(0));
    const std::uint32_t fallback = defaultEntry(own, pipe(0));
    for (const p4_pd_dev_target_t other : {pipe(1), kAllPipes}) {
        const std::uint32_t foreignMember = member(2, other);
        const std::uint32_t foreignGroup = group(2, other);
        const std::string before = snapshot();
        std::uint32_t out = kUntouched;
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryEntry(&out, {2}, foreignMember, pipe(0)));
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryEntryWithGroup(&out, {2}, foreignGroup, pipe(0)));
        EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryDefault(&out, foreignMember, pipe(0)));
        for (const std::uint32_t handle : {match, fallback}) {
            EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_lagGroup_modify_entry(
                                                    kSession, kDevice, handle, foreignMember));
            EXPECT_EQ(P4_PD_STATUS_INVALID_ARG,
                      p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(
                          kSession, kDevice, handle, foreignGroup));
        }
        EXPECT_EQ(kUntouched, out);
        EXPECT_EQ(before, snapshot());
        EXPECT_EQ(0u, delMember(foreignMember));
        EXPECT_EQ(0u, delGroup(foreignGroup));
    }
}

TEST_F(ScopeTest, AGroupTakesMembersOfItsOwnScopeOnly) {
    const std::uint32_t inPipe = group(2, pipe(1));
    const std::uint32_t inAll = group(2);
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, join(inPipe, member(1)));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, join(inPipe, member(1, pipe(0))));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, join(inAll, member(1, pipe(1))));
    EXPECT_EQ(0u, join(inPipe, member(1, pipe(1))));
    EXPECT_EQ(0u, join(inAll, member(1)));
}

TEST_F(ScopeTest, TheEntryScopeChangesOnlyWhileTheTableIsEmpty) {
    const std::uint32_t first = member(1);
    const std::uint32_t match = entry({1}, first);
    EXPECT_EQ(P4_PD_STATUS_IN_USE, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    EXPECT_EQ(0u, setEntryScope(P4_PD_SCOPE_ALL_PIPELINES)); // what holds already
    EXPECT_EQ(1, forward(1).port);
    ASSERT_EQ(0u, delEntry(match));
    defaultEntry(first);
    EXPECT_EQ(P4_PD_STATUS_IN_USE, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    ASSERT_EQ(0u, resetDefault());
    EXPECT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE)); // members alone do not matter
    EXPECT_EQ(0u, setEntryScope(P4_PD_SCOPE_ALL_PIPELINES));
    entry({1}, first);
}

TEST_F(ScopeTest, AWalkVisitsTheObjectsOfOneScope) {
    const auto first = [](p4_pd_dev_target_t scope) {
        std::uint32_t handle = 0;
        p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle(kSession, scope, &handle);
        return handle;
    };
    const std::uint32_t everywhere = member(1);
    const std::uint32_t inOne = member(1, pipe(1));
    EXPECT_EQ(everywhere, first(kAllPipes));
    EXPECT_EQ(inOne, first(pipe(1)));
    EXPECT_EQ(0u, first(pipe(0)));
}

TEST_F(ScopeTest, AnUnknownPropertyOrValueIsAnInvalidArgument) {
    const auto set = [](std::uint32_t property, std::uint32_t value) {
        return p4_pd_velmor_switch_lagGroup_set_property(kSession, kDevice, property, value);
    };
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, set(0, 0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, set(2, 1));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, set(P4_PD_PROPERTY_ENTRY_SCOPE, 2));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, set(P4_PD_PROPERTY_ENTRY_SCOPE, UINT32_MAX));
    EXPECT_EQ(0u, set(P4_PD_PROPERTY_ENTRY_SCOPE, P4_PD_SCOPE_SINGLE_PIPELINE));
}

} // namespace
} // namespace asic_test
