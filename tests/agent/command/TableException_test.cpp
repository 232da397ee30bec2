#include "tests/agent/command/RefusedCommands.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;

std::string className(std::uint32_t status) {
    return status == 9    ? "BfTable::BfTableFull"
           : status == 2  ? "BfTable::BfNoSysResources"
           : status == 17 ? "BfTable::BfNotSupported"
                          : "BfTable::BfTableException";
}

class RefusedChange : public LagTest, public testing::WithParamInterface<RefusedCommand> {
  protected:
    RefusedChange() { good(kBeforeRefused); }
};

TEST_P(RefusedChange, IsShownAndLeavesModelAndChipAsTheyWere) {
    const auto& [operation, command, name] = GetParam();
    const std::string before = state();
    for (const std::uint32_t status : {1u, 2u, 9u, 16u, 17u, 22u, 30u}) {
        good(std::string("fault ") + operation + " nth 1 status " + std::to_string(status) +
             " once");
        const Outcome outcome = run(command);
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ(ErrorKind::table, outcome.error->kind);
        EXPECT_EQ(className(status), outcome.error->exceptionClass);
        EXPECT_EQ(std::string("p4_pd_velmor_switch_") + operation, outcome.error->function);
        EXPECT_EQ(status, outcome.error->status);
        EXPECT_EQ(1u, outcome.calls.size());
        EXPECT_EQ(before, state());
    }
    good(command); // the next try finds nothing in its way
}

INSTANTIATE_TEST_SUITE_P(AllOperations, RefusedChange, testing::ValuesIn(kRefusedCommands),
                         [](const auto& test) { return test.param.name; });

TEST_F(LagTest, RefusedResetOfTheDefaultEntryCanBeTriedAgain) {
    good("entry set default member 3");
    const std::string before = state();
    good("fault lagGroup_table_reset_default_entry nth 1 status 10 once");
    EXPECT_EQ(ErrorKind::table, bad("entry del default").kind);
    EXPECT_EQ(before, state());
    good("entry del default");
}

TEST_F(LagTest, GroupWhoseInitialMemberCannotJoinIsTakenBack) {
    const std::string before = state();
    good("fault lagPortActionProfile_add_member_to_group nth 1 status 9 once");
    const Outcome outcome = run("group add 11 size 2 initial 2 action setLagPort");
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group",
              outcome.error->function);
    ASSERT_EQ(3u, outcome.calls.size());
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_del_group", outcome.calls[2].operation);
    EXPECT_EQ(before, state());
    good("group add 11 size 2 initial 2 action setLagPort");
}

TEST_F(LagTest, GroupThatCanNeitherBeFilledNorTakenBackIsAbandoned) {
    good({"fault lagPortActionProfile_add_member_to_group nth 1 status 9 once",
          "fault lagPortActionProfile_del_group nth 1 status 10 once"});
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group",
              bad("group add 11 size 2 initial 2 action setLagPort").function);
    EXPECT_TRUE(agent->configuration().isAbandoned(RuxTable::RuxGroupId(11)));
    good({"expect groups 2", "expect asic groups 2"});
    EXPECT_THAT(refusal("group member add 11 1"), HasSubstr("abandoned"));
    good({"group del 11", "expect groups 1", "expect asic groups 1"});
}

TEST_F(LagTest, MemberThatTheChipKeepsIsAbandonedUntilItIsDeletedAgain) {
    good("fault lagPortActionProfile_del_member nth 1 status 10 once");
    const Outcome refused = run("member del 3");
    ASSERT_TRUE(refused.error);
    EXPECT_EQ(1u, refused.calls.size());
    EXPECT_TRUE(agent->configuration().isAbandoned(RuxTable::RuxMemberId(3)));
    good({"expect members 3", "expect asic members 3"});
    EXPECT_THAT(refusal("member set 3 action setLagPort"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("member add 3 action setLagPort"), HasSubstr("exists already"));
    EXPECT_THAT(refusal("group add 11 size 2 initial 3 action setTunnelInfo"),
                HasSubstr("abandoned"));
    good("fault lagPortActionProfile_del_member nth 1 status 10 once");
    EXPECT_EQ(ErrorKind::table, bad("member del 3").kind);
    good({"member del 3", "expect members 2", "expect asic members 2",
          "member add 3 action setLagPort port 3", "group member add 10 3"});
}

TEST_F(LagTest, GroupThatTheChipKeepsIsAbandonedUntilItIsDeletedAgain) {
    good({"group member set 10 2 inactive", "entry del value 5 mask 0xff priority 9",
          "fault lagPortActionProfile_del_group nth 1 status 10 once"});
    const Outcome refused = run("group del 10");
    ASSERT_TRUE(refused.error);
    EXPECT_EQ(1u, refused.calls.size());
    const Json group = run("show groups").reply.json()["groups"][0];
    EXPECT_EQ(Json::array({1}), group["active"]);
    EXPECT_EQ(Json::array({2}), group["inactive"]);
    EXPECT_EQ(true, group["abandoned"]);
    EXPECT_THAT(refusal("group member add 10 1"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("group member del 10 1"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("group member set 10 1 inactive"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("member del 1"), HasSubstr("in group 10"));
    good("fault lagPortActionProfile_del_group nth 1 status 10 once");
    EXPECT_EQ(ErrorKind::table, bad("group del 10").kind);
    good({"group del 10", "expect groups 0", "expect asic groups 0", "member del 1", "member del 2",
          "member del 3", "expect asic empty"});
}

TEST_F(LagTest, MembershipThatTheChipKeepsIsAbandonedUntilItIsTakenOutAgain) {
    good({"group member set 10 1 inactive",
          "fault lagPortActionProfile_del_member_from_group nth 1 status 10 once"});
    const std::string before = state();
    const Outcome refused = run("group member del 10 1");
    ASSERT_TRUE(refused.error);
    EXPECT_EQ(1u, refused.calls.size());
    EXPECT_EQ(before, state());
    EXPECT_THAT(refusal("group member set 10 1 active"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("group member add 10 1"), HasSubstr("abandoned"));
    EXPECT_THAT(refusal("member del 1"), HasSubstr("in group 10"));
    good("fault lagPortActionProfile_del_member_from_group nth 1 status 10 once");
    EXPECT_EQ(ErrorKind::table, bad("group member del 10 1").kind);
    good({"group member del 10 1", "member del 1"});
}

TEST_F(LagTest, GroupWithAnAbandonedMembershipCanBeDeleted) {
    good({"entry del value 5 mask 0xff priority 9",
          "fault lagPortActionProfile_del_member_from_group nth 1 status 10 once"});
    EXPECT_EQ(ErrorKind::table, bad("group member del 10 1").kind);
    good({"group del 10", "member del 1", "expect asic groups 0"});
}

TEST_F(LagTest, PlannedFaultsAreDropped) {
    good({"fault lagPortActionProfile_create_group nth 1 status 9 always", "fault clear",
          "group add 11 size 2 initial 2 action setLagPort"});
}

} // namespace
} // namespace LagAgent
