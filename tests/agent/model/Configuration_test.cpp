#include "tests/agent/AgentTest.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;

TEST_F(LagTest, TheTypicalRequestForwardsFlowsOverBothPorts) {
    good({"flows value 5 count 1000", "expect port 1 share 40 60", "expect port 2 share 40 60",
          "expect lost 0"});
}

TEST_F(LagTest, SessionHandleOfTheStateMachineIsTheOpenedSession) {
    EXPECT_NE(0u, agent->driver().library().session());
    EXPECT_EQ(agent->driver().library().session(), agent->driver().stateMachine().sessionHandle());
    const Outcome outcome = run("member set 1 action setLagPort port 3");
    ASSERT_EQ(1u, outcome.calls.size());
    EXPECT_THAT(
        outcome.calls[0].text,
        HasSubstr("(sess_hdl=" + std::to_string(agent->driver().library().session()) + ","));
}

TEST_F(LagTest, MemberInAGroupIsNotDeleted) {
    EXPECT_EQ("member 1 is in group 10: take it out first", refusal("member del 1"));
    good("group member del 10 2");
    EXPECT_EQ("member 1 is the only member of group 10: delete the group first",
              refusal("member del 1"));
}

TEST_F(LagTest, MemberThatAnEntryPointsAtIsNotDeleted) {
    good("entry set default member 3");
    EXPECT_EQ("the default entry points at member 3: delete it or point it elsewhere first",
              refusal("member del 3"));
    good({"entry del default", "member del 3"});
}

TEST_F(LagTest, GroupThatAnEntryPointsAtIsNotDeleted) {
    EXPECT_EQ("the entry value 0x5 mask 0xff priority 9 points at group 10: "
              "delete it or point it elsewhere first",
              refusal("group del 10"));
    good({"entry set value 5 mask 0xff priority 9 member 3", "group del 10"});
}

TEST_F(LagTest, MemberInAGroupKeepsItsActionType) {
    EXPECT_EQ("member 1 is in group 10, which takes setLagPort only: take it out first",
              refusal("member set 1 action setTunnelInfo"));
    good({"member set 1 action setLagPort port 9", "member set 3 action setLagPort port 3"});
}

TEST_F(LagTest, GroupTakesMembersOfItsActionOnly) {
    EXPECT_EQ("member 3 carries setTunnelInfo, but group 10 takes setLagPort only: "
              "change the member with 'member set' first",
              refusal("group member add 10 3"));
    EXPECT_THAT(refusal("group add 11 size 4 initial 3 action setLagPort"),
                HasSubstr("member 3 carries setTunnelInfo, but group 11 takes setLagPort only"));
}

TEST_F(LagTest, LastMemberIsNotTakenOut) {
    good("group member del 10 1");
    EXPECT_EQ("group 10 would be empty: delete the group instead",
              refusal("group member del 10 2"));
}

TEST_F(LagTest, WhatExistsIsNotAddedAgain) {
    EXPECT_EQ("member 1 exists already: change it with 'member set'",
              refusal("member add 1 action setLagPort"));
    EXPECT_EQ("group 10 exists already, with these values",
              refusal("group add 10 size 4 initial 1 action setLagPort"));
    EXPECT_EQ("member 2 is in group 10 already", refusal("group member add 10 2"));
}

TEST_F(LagTest, GroupWithOtherValuesIsTheDriversOwnError) {
    for (const char* line : {"group add 10 size 5 initial 1 action setLagPort",
                             "group add 10 size 4 initial 2 action setLagPort",
                             "group add 10 size 4 initial 1 action setTunnelInfo"}) {
        const Error error = bad(line);
        EXPECT_EQ(ErrorKind::model, error.kind) << line;
        EXPECT_THAT(error.message, HasSubstr("lagGroup/group[10]")) << line;
    }
}

TEST_F(LagTest, WhatIsUnknownIsRefused) {
    EXPECT_THAT(refusal("member set 9 action setLagPort"), HasSubstr("there is no member 9"));
    EXPECT_THAT(refusal("member del 9"), HasSubstr("there is no member 9"));
    EXPECT_THAT(refusal("group del 9"), HasSubstr("there is no group 9"));
    EXPECT_THAT(refusal("group add 9 size 1 initial 9 action setLagPort"),
                HasSubstr("there is no member 9"));
    EXPECT_THAT(refusal("group member add 9 1"), HasSubstr("there is no group 9"));
    EXPECT_THAT(refusal("group member add 10 9"), HasSubstr("there is no member 9"));
    EXPECT_THAT(refusal("group member del 10 3"), HasSubstr("member 3 is not in group 10"));
    EXPECT_THAT(refusal("group member set 10 3 active"), HasSubstr("member 3 is not in group 10"));
    EXPECT_THAT(refusal("entry set value 1 mask 1 member 9"),
                HasSubstr("there is no member 9 in hardware"));
    EXPECT_THAT(refusal("entry set default group 9"), HasSubstr("there is no group 9 in hardware"));
    EXPECT_THAT(refusal("entry del value 5 mask 0xff"),
                HasSubstr("there is no entry value 0x5 mask 0xff priority 0"));
    EXPECT_THAT(refusal("entry del default"), HasSubstr("no default entry is set"));
}

TEST_F(LagTest, EntryIsFoundAgainByItsFields) {
    const Outcome outcome = run("entry set value 5 mask 0xff priority 9 member 3");
    ASSERT_EQ(1u, outcome.calls.size());
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_modify_entry", outcome.calls[0].operation);
    good({"entry del value 0x5 mask 255 priority 9", "expect asic entries 0"});
}

TEST_F(LagTest, ZeroKeyIsNotTheDefaultEntry) {
    const Outcome zero = run("entry set value 0 mask 0 member 3");
    ASSERT_EQ(1u, zero.calls.size());
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_add_entry", zero.calls[0].operation);
    const Outcome fallback = run("entry set default member 3");
    ASSERT_EQ(1u, fallback.calls.size());
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_set_default_entry", fallback.calls[0].operation);
}

TEST_F(LagTest, ExpectationsFailWhenTheyAreNotMet) {
    good("flows value 5 count 100");
    for (const char* line :
         {"expect members 9", "expect groups 9", "expect entries 9", "expect asic members 9",
          "expect asic groups 9", "expect asic entries 9", "expect asic empty", "expect calls 9",
          "expect calls lagGroup_add_entry 9", "expect port 1 share 0 1", "expect only port 1",
          "expect lost 1"}) {
        EXPECT_EQ(ErrorKind::expectation, bad(line).kind) << line;
    }
    EXPECT_THAT(refusal("expect moved 0"), HasSubstr("one run of flows only"));
    good("flows value 5 count 100");
    EXPECT_EQ(ErrorKind::expectation, bad("expect moved 1").kind);
    EXPECT_EQ(ErrorKind::expectation, bad("expect moved from port 1").kind);
    EXPECT_EQ(ErrorKind::expectation, bad("expect moved to port 1").kind);
    EXPECT_EQ(ErrorKind::expectation, bad("expect moved from port 77").kind);
    good("expect moved 0");
}

TEST_F(AgentTest, AnnouncedErrorMustComeAndHaveTheText) {
    good("expect error there is no member 1");
    const Outcome announced = run("member del 1");
    EXPECT_FALSE(announced.error);
    ASSERT_TRUE(announced.expectedError);
    good("expect error something else");
    EXPECT_THAT(bad("member del 1").message, HasSubstr("expected an error with 'something else'"));
    good("expect error anything");
    EXPECT_EQ(ErrorKind::expectation, bad("show").kind);
    good("expect error anything");
    EXPECT_TRUE(interpreter->atEnd());
    EXPECT_FALSE(interpreter->atEnd());
}

TEST_F(LagTest, ShowTellsWhatTheModelHas) {
    const std::string text = run("show").reply.text();
    EXPECT_THAT(text, HasSubstr("setTunnelInfo"));
    EXPECT_THAT(text, HasSubstr("group 10"));
    const Json json = run("show").reply.json();
    ASSERT_EQ(3u, json["members"].size());
    EXPECT_EQ(2, json["members"][1]["port"]);
    EXPECT_EQ(Json::array({10}), json["members"][1]["groups"]);
    EXPECT_EQ(Json::array({1, 2}), json["groups"][0]["active"]);
    EXPECT_EQ("group 10", json["entries"][0]["read back"]);
    for (const auto& section : valueType("section").choices) {
        if (section != "start") {
            good("show " + section);
        }
    }
}

TEST_F(LagTest, AgentThatKeepsNothingHasNoStartToShowAndNothingToAudit) {
    for (const char* command : {"show start", "audit", "audit steps"}) {
        const Error error = bad(command);
        EXPECT_EQ(ErrorKind::unsupported, error.kind);
        EXPECT_EQ("this agent keeps no state over restarts: run it with 'serve'", error.message);
    }
}

TEST_F(LagTest, StatusIsOfTheObjectsThatAreThere) {
    const auto known = [this] {
        std::vector<std::size_t> sizes;
        const Json status = run("show status").reply.json()["status"];
        for (const auto& row : status) {
            sizes.push_back(row["known"]);
        }
        return sizes;
    };
    EXPECT_EQ((std::vector<std::size_t>{1, 3, 1}), known());
    good({"member add 4 action setLagPort port 4",
          "group add 20 size 4 initial 1 action setLagPort",
          "entry set value 6 mask 0xff priority 9 group 20"});
    EXPECT_EQ((std::vector<std::size_t>{2, 4, 2}), known());
    good({"entry del value 6 mask 0xff priority 9", "group del 20", "member del 4"});
    EXPECT_EQ((std::vector<std::size_t>{1, 3, 1}), known());
}

} // namespace
} // namespace LagAgent
