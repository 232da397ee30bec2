#include <random>

#include "agent/command/Commands.h"
#include "agent/console/Presenter.h"
#include "agent/outcome/Text.h"
#include "tests/agent/AgentTest.h"

namespace LagAgent {
namespace {

constexpr unsigned kSeed = 20260321;

TEST_F(LagTest, RandomBytesNeverEndTheAgent) {
    std::mt19937 random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::ostringstream out, err;
    Presenter presenter({.json = true}, out, err);
    const std::string before = state();
    for (int i = 0; i < 2000; ++i) {
        std::string line(random() % 60, '\0');
        for (char& c : line) {
            c = static_cast<char>(random());
        }
        const Outcome outcome = run(line);
        EXPECT_TRUE(outcome.error || outcome.command.empty());
        presenter.show(outcome, {"random", 1});
    }
    EXPECT_EQ(before, state());
}

/// Words that take a line deep into the grammar, and words that do not belong there.
std::string randomCommand(std::mt19937& random) {
    static const std::vector<std::string> kNoise{
        "0",  "1",      "2",    "3",    "10",      "11", "4294967295", "0xffffffff", "65536",
        "-1", "action", "port", "size", "initial", "x",  "#",          "active"};
    std::vector<std::string> words;
    for (int length = static_cast<int>(random() % 12); length > 0; --length) {
        auto next = commandGrammar().continuations(words);
        std::erase(next, "quit");
        const bool isNoise = next.empty() || random() % 4 == 0;
        const auto& from = isNoise ? kNoise : next;
        words.push_back(from[random() % from.size()]);
    }
    return joined(words);
}

TEST_F(LagTest, RandomCommandsNeverEndTheAgentAndModelAndChipStayInStep) {
    std::mt19937 random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    int succeeded = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::string line = randomCommand(random);
        succeeded += run(line).error ? 0 : 1;
    }
    EXPECT_GT(succeeded, 50);
    const auto usage = agent->chip().usage();
    EXPECT_EQ(usage.members, agent->driver().profile().entry().size());
    EXPECT_EQ(usage.groups, agent->driver().profile().group().size());
    EXPECT_EQ(usage.entries + (agent->chip().hasDefaultEntry() ? 1 : 0),
              agent->configuration().entries().size());
}

/// A change of configuration with small numbers, so that changes meet each other.
std::string randomChange(std::mt19937& random) {
    const auto n = [&random](unsigned below) { return std::to_string(random() % below); };
    const auto action = " action " + std::string(random() % 4 ? "setLagPort" : "setTunnelInfo");
    switch (random() % 11) {
    case 0:
        return "member add " + n(6) + action + " port " + n(9);
    case 1:
        return "member set " + n(6) + action + " port " + n(9);
    case 2:
        return "member del " + n(6);
    case 3:
        return "group add " + n(3) + " size " + std::to_string(1 + random() % 4) + " initial " +
               n(6) + action;
    case 4:
        return "group del " + n(3);
    case 5:
    case 6:
        return "group member add " + n(3) + " " + n(6);
    case 7:
        return "group member del " + n(3) + " " + n(6);
    case 8:
        return "group member set " + n(3) + " " + n(6) + (random() % 2 ? " active" : " inactive");
    case 9:
        return "entry set value " + n(3) + " mask 3 " + (random() % 2 ? "member " : "group ") +
               n(4);
    default:
        return random() % 2 ? "entry del value " + n(3) + " mask 3"
                            : "entry set default group " + n(3);
    }
}

TEST_F(AgentTest, RandomChangesUnderRandomFaultsKeepModelAndChipInStep) {
    std::mt19937 random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    const auto& operations = valueType("operation").choices;
    int refusedByChip = 0;
    for (int i = 0; i < 6000; ++i) {
        if (random() % 4 == 0) {
            run("fault " + operations[random() % operations.size()] + " nth 1 status " +
                std::to_string(1 + random() % 25) + " once");
        }
        const std::string line = randomChange(random);
        const Outcome outcome = run(line);
        if (outcome.error) {
            ASSERT_NE(ErrorKind::internal, outcome.error->kind) << line;
            refusedByChip += outcome.error->kind == ErrorKind::table ? 1 : 0;
        }
        const auto usage = agent->chip().usage();
        ASSERT_EQ(usage.members, agent->driver().profile().entry().size()) << line;
        ASSERT_EQ(usage.groups, agent->driver().profile().group().size()) << line;
        ASSERT_EQ(usage.entries + (agent->chip().hasDefaultEntry() ? 1 : 0),
                  agent->configuration().entries().size())
            << line;
    }
    EXPECT_GT(refusedByChip, 50);
}

} // namespace
} // namespace LagAgent
