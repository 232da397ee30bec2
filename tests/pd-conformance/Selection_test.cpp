// The choice of a member for a flow.

#include "tests/pd-conformance/PdTest.h"

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace pd_test {
namespace {

constexpr std::uint32_t kMetadata = 1;

class SelectionTest : public PdTest {
  protected:
    // A group behind the entry of kMetadata, with members of the ports 0, 1, ...
    void makeGroup(std::size_t size) {
        group_ = group(16);
        entryWithGroup({kMetadata}, group_);
        for (std::size_t port = 0; port < size; ++port) {
            members_.push_back(member(static_cast<std::uint16_t>(port)));
            ASSERT_EQ(0u, join(group_, members_.back()));
        }
    }

    static std::vector<std::uint32_t> sequentialFlows() {
        std::vector<std::uint32_t> flows(flowCount());
        for (std::size_t i = 0; i < flows.size(); ++i)
            flows[i] = static_cast<std::uint32_t>(i);
        return flows;
    }
    static std::vector<std::uint32_t> randomFlows() {
        std::mt19937 random(20240229); // NOLINT: the same flows in every run
        std::vector<std::uint32_t> flows(flowCount());
        std::generate(flows.begin(), flows.end(), [&] { return random(); });
        return flows;
    }

    // The member that each flow reaches, 0 for a drop.
    static std::vector<std::uint32_t> choices(const std::vector<std::uint32_t>& flows) {
        std::vector<std::uint32_t> members;
        for (const std::uint32_t flow : flows)
            members.push_back(forward(kMetadata, flow).mbr_hdl);
        return members;
    }

    // Every flow that did not go to `moved` goes where it went; every one that did goes elsewhere.
    static void expectOnlyFlowsOf(std::uint32_t moved, const std::vector<std::uint32_t>& before,
                                  const std::vector<std::uint32_t>& after) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (before[i] == moved) {
                ++count;
                EXPECT_NE(moved, after[i]);
                EXPECT_NE(0u, after[i]);
            } else {
                EXPECT_EQ(before[i], after[i]);
            }
        }
        EXPECT_LT(0u, count);
    }

    std::uint32_t group_ = 0;
    std::vector<std::uint32_t> members_;
};

TEST_F(SelectionTest, AnEmptyGroupDropsAndSaysSo) {
    makeGroup(0);
    const velmor_asic_result_t result = forward(kMetadata, 5);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER}, result.outcome);
    EXPECT_EQ(group_, result.grp_hdl);
    EXPECT_NE(0u, result.entry_hdl);
    EXPECT_EQ(0u, result.mbr_hdl);
    EXPECT_EQ(0, result.port);
}

TEST_F(SelectionTest, AGroupWhoseMembersAreAllInactiveDrops) {
    makeGroup(2);
    for (const std::uint32_t handle : members_)
        ASSERT_EQ(0u, setState(group_, handle, P4_PD_MEMBER_INACTIVE));
    for (const std::uint32_t choice : choices(sequentialFlows()))
        EXPECT_EQ(0u, choice);
    ASSERT_EQ(0u, setState(group_, members_[1], P4_PD_MEMBER_ACTIVE));
    for (const std::uint32_t choice : choices(sequentialFlows()))
        EXPECT_EQ(members_[1], choice);
}

TEST_F(SelectionTest, TheResultNamesEntryGroupMemberAndPort) {
    makeGroup(2);
    const velmor_asic_result_t result = forward(kMetadata, 3);
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
    EXPECT_EQ(group_, result.grp_hdl);
    EXPECT_EQ(members_[result.port], result.mbr_hdl);
    EXPECT_EQ(std::uint32_t{P4_PD_ACTION_setLagPort}, result.action);
}

TEST_F(SelectionTest, AFlowAlwaysTakesTheSameMember) {
    makeGroup(7);
    EXPECT_EQ(choices(randomFlows()), choices(randomFlows()));
}

TEST_F(SelectionTest, AnInactiveMemberMovesOnlyItsOwnFlowsAndGetsExactlyTheseBack) {
    makeGroup(7);
    const auto flows = randomFlows();
    const auto before = choices(flows);
    for (const std::uint32_t down : members_) {
        ASSERT_EQ(0u, setState(group_, down, P4_PD_MEMBER_INACTIVE));
        expectOnlyFlowsOf(down, before, choices(flows));
        ASSERT_EQ(0u, setState(group_, down, P4_PD_MEMBER_ACTIVE));
        EXPECT_EQ(before, choices(flows));
    }
}

TEST_F(SelectionTest, StatesSetInAnyOrderLeadToTheSameChoice) {
    makeGroup(5);
    const auto flows = sequentialFlows();
    const auto before = choices(flows);
    ASSERT_EQ(0u, setState(group_, members_[1], P4_PD_MEMBER_INACTIVE));
    const auto oneDown = choices(flows);
    ASSERT_EQ(0u, setState(group_, members_[3], P4_PD_MEMBER_INACTIVE));
    expectOnlyFlowsOf(members_[3], oneDown, choices(flows));
    ASSERT_EQ(0u, setState(group_, members_[1], P4_PD_MEMBER_ACTIVE));
    expectOnlyFlowsOf(members_[3], before, choices(flows));
    ASSERT_EQ(0u, setState(group_, members_[3], P4_PD_MEMBER_ACTIVE));
    EXPECT_EQ(before, choices(flows));
}

TEST_F(SelectionTest, AMemberThatLeavesOrJoinsMovesOnlyItsOwnFlows) {
    makeGroup(4);
    const auto flows = randomFlows();
    const auto before = choices(flows);
    ASSERT_EQ(0u, leave(group_, members_[2]));
    expectOnlyFlowsOf(members_[2], before, choices(flows));
    ASSERT_EQ(0u, join(group_, members_[2]));
    EXPECT_EQ(before, choices(flows));
    const std::uint32_t fifth = member(4);
    ASSERT_EQ(0u, join(group_, fifth));
    expectOnlyFlowsOf(fifth, choices(flows), before);
}

TEST_F(SelectionTest, ANewActionOrPortOfAMemberMovesNoFlow) {
    makeGroup(3);
    const auto before = choices(sequentialFlows());
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{99};
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
                      kSession, kDevice, members_[0], &spec));
    EXPECT_EQ(before, choices(sequentialFlows()));
}

// The sum of squared deviations from an even spread, over the expectation: distributed as
// chi-square if the choice is as good as random.
double chiSquare(const std::vector<std::uint32_t>& choices,
                 const std::vector<std::uint32_t>& members) {
    std::map<std::uint32_t, double> counts;
    for (const std::uint32_t choice : choices)
        ++counts[choice];
    const double expected =
        static_cast<double>(choices.size()) / static_cast<double>(members.size());
    double sum = 0;
    for (const std::uint32_t member : members)
        sum += (counts[member] - expected) * (counts[member] - expected) / expected;
    return sum;
}

class SpreadTest : public SelectionTest, public testing::WithParamInterface<std::size_t> {
  protected:
    // 99.9 % of random spreads over this many members lie below.
    static double bound() {
        const std::map<std::size_t, double> bounds{{2, 10.83}, {4, 16.27}, {7, 22.46}, {16, 37.70}};
        return bounds.at(GetParam());
    }
};

TEST_P(SpreadTest, FlowsSpreadEvenlyForRandomAndForSequentialHashes) {
    makeGroup(GetParam());
    EXPECT_LT(chiSquare(choices(randomFlows()), members_), bound());
    EXPECT_LT(chiSquare(choices(sequentialFlows()), members_), bound());
}

TEST_P(SpreadTest, TheFlowsOfAnInactiveMemberSpreadEvenlyOverTheOthers) {
    makeGroup(GetParam() + 1 > 16 ? 16 : GetParam() + 1);
    const auto flows = randomFlows();
    const auto before = choices(flows);
    const std::uint32_t down = members_.front();
    ASSERT_EQ(0u, setState(group_, down, P4_PD_MEMBER_INACTIVE));
    const auto after = choices(flows);
    std::vector<std::uint32_t> moved;
    for (std::size_t i = 0; i < flows.size(); ++i)
        if (before[i] == down)
            moved.push_back(after[i]);
    const std::vector<std::uint32_t> others(members_.begin() + 1, members_.end());
    EXPECT_LT(chiSquare(moved, others), bound());
}

INSTANTIATE_TEST_SUITE_P(Members, SpreadTest, testing::Values(2, 4, 7, 16));

} // namespace
} // namespace pd_test
