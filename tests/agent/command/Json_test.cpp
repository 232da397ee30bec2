#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/agent/Process.h"

namespace LagAgent {
namespace {

using Json = nlohmann::ordered_json;

/// One document a line; the test fails on anything else.
std::vector<Json> documents(const std::string& text) {
    std::vector<Json> result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        result.push_back(Json::parse(line));
    }
    return result;
}

TEST(JsonOutput, IsOneDocumentForEachCommand) {
    const auto run =
        runProgram("-json", "# comment\nmember add 1 action setLagPort port 3\n\nshow\n");
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.err);
    const auto all = documents(run.out);
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(
        Json::parse(R"({"line":2,"command":"member add 1 action setLagPort port 3","ok":true})"),
        all[0]);
    EXPECT_EQ(4, all[1]["line"]);
    EXPECT_EQ(3, all[1]["result"]["members"][0]["port"]);
    EXPECT_EQ(Json::array(), all[1]["result"]["groups"]);
}

TEST(JsonOutput, HasErrorsToo) {
    const auto run =
        runProgram("--json -force",
                   "nonsense\nmember del 1\n"
                   "fault lagPortActionProfile_add_member_with_setLagPort nth 1 status 9 once\n"
                   "member add 1 action setLagPort\n");
    EXPECT_EQ(1, run.status);
    const auto all = documents(run.out);
    ASSERT_EQ(4u, all.size());
    EXPECT_EQ("usage", all[0]["error"]["kind"]);
    EXPECT_EQ(false, all[0]["ok"]);
    EXPECT_EQ("refused", all[1]["error"]["kind"]);
    EXPECT_EQ("table", all[3]["error"]["kind"]);
    EXPECT_EQ("BfTable::BfTableFull", all[3]["error"]["class"]);
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort",
              all[3]["error"]["function"]);
    EXPECT_EQ(9, all[3]["error"]["status"]);
}

TEST(JsonOutput, HasTheErrorThatNothingStartedWith) {
    const auto run = runProgram("-json --pd /nonexistent.so");
    EXPECT_EQ(2, run.status);
    const auto all = documents(run.out);
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ("start", all[0]["error"]["kind"]);
}

TEST(JsonOutput, HasCallsWhenTheyAreAskedFor) {
    const auto all = documents(runProgram("-json --calls", "member add 1 action setLagPort\n").out);
    ASSERT_EQ(1u, all.size());
    ASSERT_EQ(1u, all[0]["calls"].size());
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort",
              all[0]["calls"][0]["operation"]);
    EXPECT_EQ(0, all[0]["calls"][0]["status"]);
}

TEST(JsonOutput, ParsesWhateverTheInputWas) {
    const auto run = runProgram("-json -force", "\xff\xfe \x01\n\"quoted\"\n{}\n");
    EXPECT_EQ(3u, documents(run.out).size());
}

TEST(JsonOutput, EveryExampleParses) {
    for (const char* name : {"two-port-lag", "default-entry", "refused-orders", "faults"}) {
        const auto run = runProgram(std::string("-json --calls " EXAMPLES "/") + name + ".cmds");
        EXPECT_EQ(0, run.status) << name;
        for (const auto& document : documents(run.out)) {
            EXPECT_EQ(true, document["ok"]) << document.dump();
        }
    }
}

} // namespace
} // namespace LagAgent
