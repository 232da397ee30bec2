#include "agent/model/Usage.h"

#include <random>

#include "tests/agent/AgentTest.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;
using Numbers = Usage<std::uint32_t, std::uint32_t>;

TEST(Usage, IsToldNothingBeforeItIsCollected) {
    Numbers usage;
    usage.is(1, 10, true);
    EXPECT_FALSE(usage.isCollected());
    usage.collectedAre({{2, 20}, {1, 12}, {1, 11}});
    EXPECT_TRUE(usage.isCollected());
    EXPECT_EQ((std::set<Numbers::Pair>{{1, 11}, {1, 12}, {2, 20}}), usage.all());
}

TEST(Usage, LowestUserIsOfThatThing) {
    Numbers usage;
    usage.collectedAre({{1, 12}, {1, 11}, {3, 0}});
    EXPECT_EQ(11u, usage.lowestOf(1));
    EXPECT_EQ(std::nullopt, usage.lowestOf(2));
    EXPECT_EQ(0u, usage.lowestOf(3));
    EXPECT_EQ(std::nullopt, usage.lowestOf(4));
    usage.is(1, 11, false);
    usage.is(1, 11, false);
    EXPECT_EQ(12u, usage.lowestOf(1));
    usage.is(2, 7, true);
    usage.is(2, 7, true);
    EXPECT_EQ(7u, usage.lowestOf(2));
}

/// What the index must say, found by a walk.
std::set<Numbers::Pair> membershipsIn(const Agent& agent) {
    std::set<Numbers::Pair> all;
    for (const auto& group : agent.driver().profile().group()) {
        for (const auto& member : group->member()) {
            all.emplace(member->memberId().value(), group->groupId().value());
        }
    }
    return all;
}

using UsageTest = LagTest;

TEST_F(UsageTest, LowestGroupAndLowestEntryAreNamed) {
    good({"group add 9 size 4 initial 2 action setLagPort",
          "group add 11 size 4 initial 2 action "
          "setLagPort",
          "entry set value 4 mask 0xff group 10", "entry set value 3 mask 0xff group 9",
          "entry set default group 10"});
    EXPECT_THAT(refusal("member del 2"), HasSubstr("the only member of group 9"));
    EXPECT_THAT(refusal("member set 2 action setTunnelInfo"), HasSubstr("is in group 9, which"));
    EXPECT_EQ("the default entry points at group 10: delete it or point it elsewhere first",
              refusal("group del 10"));
    good("entry del default");
    EXPECT_EQ("the entry value 0x4 mask 0xff priority 0 points at group 10: delete it or point it "
              "elsewhere first",
              refusal("group del 10"));
    good({"entry set value 4 mask 0xff group 9", "entry set value 5 mask 0xff priority 9 group 9",
          "group del 10"});
    EXPECT_THAT(refusal("group del 9"), HasSubstr("the entry value 0x3 mask 0xff priority 0 "));
}

TEST_F(UsageTest, StaysTrueWhateverTheChipRefuses) {
    constexpr const char* kOperations[]{"add_member_to_group", "del_member_from_group",
                                        "create_group",        "del_group",
                                        "del_member",          "group_member_state_set"};
    std::mt19937 random(7);
    const auto number = [&](std::uint32_t end) { return std::to_string(random() % end + 1); };
    int refused = 0;
    for (int i = 0; i < 5000; ++i) {
        if (random() % 3 == 0) {
            good("fault lagPortActionProfile_" + std::string(kOperations[random() % 6]) +
                 " nth 1 status 9 once");
        }
        const std::string group = number(4), member = number(5);
        const std::string commands[]{"member add " + member + " action setLagPort",
                                     "group add " + group + " size 8 initial " + member +
                                         " action setLagPort",
                                     "group member add " + group + " " + member,
                                     "group member del " + group + " " + member,
                                     "group del " + group,
                                     "member del " + member,
                                     "entry set value " + number(3) + " mask 1 group " + group,
                                     "entry del value " + number(3) + " mask 1"};
        const auto outcome = run(commands[random() % 8]);
        refused += outcome.error && outcome.error->status;
        ASSERT_EQ(membershipsIn(*agent), agent->configuration().memberships()) << outcome.command;
        good("fault clear");
        for (const auto& [entry, installed] : agent->configuration().entries()) {
            const auto kind = installed.target.member() ? "member del " : "group del ";
            const auto message = refusal(kind + std::to_string(installed.target.id()));
            ASSERT_THAT(message, HasSubstr("points at")) << outcome.command;
        }
    }
    EXPECT_LT(100, refused);
}

} // namespace
} // namespace LagAgent
