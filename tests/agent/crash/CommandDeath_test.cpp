#include <gtest/gtest.h>

#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/CrashTest.h"

/// What the death of an agent at any moment of its commands leaves to the next one.
namespace LagAgent::Crash {
namespace {

using Way = Death::Way;

using CommandDeath = CrashTest;

TEST_F(CommandDeath, ScenarioEndsWhereItBeganAndGoesThroughManyModels) {
    EXPECT_EQ(models().front(), models().back());
    EXPECT_GE(std::set<Json>(models().begin(), models().end()).size(), 25u);
}

/// What the chip refused may have left a reservation, until the next start.
TEST_F(CommandDeath, WithoutOneTheRecordsAgreeWithTheChipAfterEachCommand) {
    AgentProcess agent(prepared());
    bool isRefused = false;
    for (const auto& line : scenarioCommands()) {
        isRefused = isRefused || line.starts_with("fault");
        agent.ask(line);
        const Json findings = agent.tell("audit").at("findings");
        for (const Json& finding : findings) {
            EXPECT_TRUE(isRefused && finding.at("finding") == "reservation") << line << finding;
        }
    }
}

TEST_F(CommandDeath, AtAnyStepOfTheAsicLosesNothing) {
    EXPECT_GE(fallDuringScenario(Way::asicStep), 100 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(CommandDeath, AtAnyStoreToTheTablesLosesNothing) {
    EXPECT_GE(fallDuringScenario(Way::tableStore), 100 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

TEST_F(CommandDeath, AtAnySystemCallLosesNothing) {
    EXPECT_GE(fallDuringScenario(Way::systemCall), 500 / kStride);
    EXPECT_GT(lookups(), 10'000u);
}

} // namespace
} // namespace LagAgent::Crash
